// What each key does to the line.
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <string>

#include "tests/support/tinyrl_session.h"

#define UP "\x1b[A"
#define RIGHT "\x1b[C"
#define LEFT "\x1b[D"

namespace
{

// The line that keys, followed by Enter, make.
std::string typed(const std::string &keys)
{
    tinyrl_session session;
    return session.read(keys + "\r");
}

// How often the bell rang while keys were struck.
long bells(tinyrl_session &session)
{
    long count = 0;
    for (char byte : session.all_drawn())
        count += byte == '\a' ? 1 : 0;
    return count;
}

long bells_of(const std::string &keys)
{
    tinyrl_session session;
    session.read(keys + "\r");
    return bells(session);
}

int default_handler_key;

bool note_default(struct tinyrl * /*editor*/, int key)
{
    default_handler_key = key;
    return key != 2;
}

bool insert_name(struct tinyrl *editor, int key)
{
    std::string name("<");
    name.append(std::to_string(key)).append(">");
    return tinyrl_insert_text(editor, name.data(), name.size());
}

bool refuse(struct tinyrl * /*editor*/, int /*key*/)
{
    return false;
}

int timeouts;

bool wait_twice(struct tinyrl * /*editor*/)
{
    timeouts++;
    return timeouts == 3;
}

char sequence_seen[64];

void note_byte(struct tinyrl * /*editor*/, int key)
{
    size_t length = strlen(sequence_seen);
    if (length + 1 < sizeof(sequence_seen))
        sequence_seen[length] = static_cast<char>(key);
}

} // namespace

TEST(tinyrl_keys, enter_ends_the_line)
{
    EXPECT_EQ("pwd", typed("pwd"));
    EXPECT_EQ("", typed(""));
    tinyrl_session session;
    EXPECT_EQ("ls", session.read("ls\n"));
    EXPECT_EQ("abc", session.read("ab" LEFT LEFT RIGHT RIGHT "c\r"));
    EXPECT_EQ("ab", session.read("ab" LEFT "\r"));
}

TEST(tinyrl_keys, every_printable_byte_is_inserted)
{
    std::string all;
    for (int byte = 32; byte < 256; byte++) {
        if (byte != 127)
            all += static_cast<char>(byte);
    }
    EXPECT_EQ(all, typed(all));
    EXPECT_EQ(0, bells_of(all));
}

TEST(tinyrl_keys, control_bytes_without_meaning_ring)
{
    const std::string keys("\0\x02\x06\x07\x0e\x0f\x10\x11\x12\x13\x14\x16\x18\x1a\x1c\x1d\x1e\x1f",
                           18);
    EXPECT_EQ("ab", typed("a" + keys + "b"));
    EXPECT_EQ(18, bells_of(keys));
}

TEST(tinyrl_keys, default_handler_gets_control_bytes)
{
    tinyrl_session session;
    tinyrl_get_settings(session.editor)->default_handler = note_default;
    EXPECT_EQ("ab", session.read("a\x06"
                                 "b\r"));
    EXPECT_EQ(6, default_handler_key);
    EXPECT_EQ(0, bells(session));
    EXPECT_EQ("", session.read("\x02\r"));
    EXPECT_EQ(2, default_handler_key);
    EXPECT_EQ(1, bells(session));
    tinyrl_get_settings(session.editor)->default_handler = nullptr;
    EXPECT_EQ("", session.read("\x06\r"));
    EXPECT_EQ(1, bells(session));
}

TEST(tinyrl_keys, start_and_end_of_line)
{
    EXPECT_EQ("xab", typed("ab\x01x"));
    EXPECT_EQ("xaby", typed("ab\x01x\x05y"));
    EXPECT_EQ(0, bells_of("\x01\x05"));
}

TEST(tinyrl_keys, interrupt_gives_an_empty_line)
{
    tinyrl_session session;
    EXPECT_EQ("", session.read("abc\x03"));
    EXPECT_EQ("", session.read("\x03"));
    EXPECT_EQ("", session.read("abc" LEFT "\x03"));
    EXPECT_EQ(0, bells(session));
    EXPECT_EQ("next", session.read("next\r"));
}

TEST(tinyrl_keys, delete_under_the_cursor)
{
    EXPECT_EQ("ac", typed("abc" LEFT LEFT "\x04"));
    EXPECT_EQ("ab", typed("abc" LEFT "\x04"));
    EXPECT_EQ("c", typed("abc\x01\x04\x04"));
    EXPECT_EQ("abc", typed("abc\x04"));
    EXPECT_EQ(1, bells_of("abc\x04"));
    EXPECT_EQ(1, bells_of("\x04"));
    EXPECT_EQ(0, bells_of("abc" LEFT "\x04"));
}

TEST(tinyrl_keys, backspace_and_rubout)
{
    EXPECT_EQ("ab", typed("abc\x08"));
    EXPECT_EQ("ab", typed("abc\x7f"));
    EXPECT_EQ("ac", typed("abc" LEFT "\x7f"));
    EXPECT_EQ("", typed("a\x7f\x7f"));
    EXPECT_EQ(1, bells_of("a\x7f\x7f"));
    EXPECT_EQ(1, bells_of("\x08"));
    EXPECT_EQ(1, bells_of("abc\x01\x08"));
}

TEST(tinyrl_keys, left_and_right)
{
    EXPECT_EQ("axbc", typed("abc" LEFT LEFT "x"));
    EXPECT_EQ("abxc", typed("abc" LEFT LEFT RIGHT "x"));
    EXPECT_EQ(1, bells_of("ab" LEFT LEFT LEFT));
    EXPECT_EQ(1, bells_of("ab" RIGHT));
    EXPECT_EQ("xab", typed("ab" LEFT LEFT LEFT "x"));
    EXPECT_EQ("abx", typed("ab" RIGHT "x"));
}

TEST(tinyrl_keys, home_end_and_delete_keys)
{
    EXPECT_EQ("xab", typed("ab\x1b[Hx"));
    EXPECT_EQ("xab", typed("ab\x1b[1~x"));
    EXPECT_EQ("xaby", typed("ab\x01x\x1b[Fy"));
    EXPECT_EQ("xaby", typed("ab\x01x\x1b[4~y"));
    EXPECT_EQ("b", typed("ab\x01\x1b[3~"));
    EXPECT_EQ(1, bells_of("ab\x1b[3~"));
}

TEST(tinyrl_keys, keys_without_meaning_do_nothing)
{
    const char *sequences[] = {"\x1b[2~",  "\x1b[5~",   "\x1b[6~",    "\x1b[Z",
                               "\x1bO",    "\x1b[15~",  "\x1b[[A",    "\x1bx",
                               "\x1b\xff", "\x1b[1;5C", "\x1b\x1b[A", "\x1b\x03@"};
    for (const char *sequence : sequences) {
        EXPECT_EQ("ab", typed(std::string("a") + sequence + "b")) << sequence + 1;
        EXPECT_EQ(0, bells_of(sequence)) << sequence + 1;
    }
}

TEST(tinyrl_keys, ninth_byte_that_does_not_end_a_sequence_drops_it)
{
    EXPECT_EQ("x", typed("\x1b[12345678x"));
    EXPECT_EQ("", typed("\x1b[1234567x"));
    EXPECT_EQ("Ax", typed("\x1b[[[[[[[[[Ax"));
    EXPECT_EQ(0, bells_of("\x1b[12345678"));
}

TEST(tinyrl_keys, half_a_sequence_does_not_survive_the_read)
{
    tinyrl_session session;
    EXPECT_EQ("(none)", session.read("ab\x1b["));
    EXPECT_EQ("A", session.read("A\r"));
}

TEST(tinyrl_keys, kill_to_the_end_and_yank)
{
    EXPECT_EQ("ab", typed("abcd" LEFT LEFT "\x0b"));
    EXPECT_EQ("cdabcd", typed("abcd" LEFT LEFT "\x0b\x01\x19\x05\x19"));
    EXPECT_EQ(0, bells_of("abcd" LEFT LEFT "\x0b\x19"));
}

TEST(tinyrl_keys, kill_at_the_end_leaves_an_empty_kill_string)
{
    EXPECT_EQ(0, bells_of("ab\x0b\x19"));
    EXPECT_EQ(0, bells_of("\x0b\x19"));
    EXPECT_EQ("ab", typed("ab" LEFT "\x0b\x19\x0b\x19\x19"));
}

TEST(tinyrl_keys, kill_to_the_start_and_yank)
{
    EXPECT_EQ("cd", typed("abcd" LEFT LEFT "\x15"));
    EXPECT_EQ("xcd", typed("abcd" LEFT LEFT "\x15x"));
    EXPECT_EQ("abcdab", typed("abcd" LEFT LEFT "\x15\x19\x05\x19"));
}

TEST(tinyrl_keys, kill_at_the_start_leaves_no_kill_string)
{
    EXPECT_EQ("ab", typed("ab\x01\x15"));
    EXPECT_EQ(0, bells_of("ab\x01\x15"));
    EXPECT_EQ(1, bells_of("ab\x01\x15\x19"));
    EXPECT_EQ("b", typed("ab" LEFT "\x15\x15\x19"));
    EXPECT_EQ(1, bells_of("\x19"));
}

TEST(tinyrl_keys, kill_string_outlives_the_read)
{
    tinyrl_session session;
    EXPECT_EQ("", session.read("word\x15\r"));
    EXPECT_EQ("word word", session.read("\x19 \x19\r"));
}

TEST(tinyrl_keys, erase_word)
{
    EXPECT_EQ("set ", typed("set abc\x17\x05 "));
    EXPECT_EQ("a", typed("a bc  \x17"));
    EXPECT_EQ("", typed("a bc  \x17\x17"));
    EXPECT_EQ("  ", typed("   abc\x17"));
    EXPECT_EQ("a c", typed("a bbbc" LEFT "\x17"));
    EXPECT_EQ("", typed("   \x17"));
    EXPECT_EQ(0, bells_of("\x17"));
    EXPECT_EQ(0, bells_of("a\x01\x17"));
}

TEST(tinyrl_keys, erase_word_takes_every_white_byte_and_no_other)
{
    tinyrl_session session;
    session.remember("a\tb\t\v\f\xa0");
    EXPECT_EQ("a\tb\t\v\f", session.read(UP "\x17\r"));
    EXPECT_EQ("a\t", session.read(UP "\x17\x17\r"));
    session.remember("a b \r");
    EXPECT_EQ("a", session.read(UP "\x17\r"));
}

TEST(tinyrl_keys, one_trailing_blank_is_removed)
{
    EXPECT_EQ("ls", typed("ls "));
    EXPECT_EQ("ls ", typed("ls  "));
    EXPECT_EQ("", typed(" "));
    EXPECT_EQ(" ", typed("  "));
    tinyrl_session session;
    session.remember("ls\t");
    EXPECT_EQ("ls\t", session.read(UP "\r"));
}

TEST(tinyrl_keys, binding_replaces_a_key)
{
    tinyrl_session session;
    EXPECT_TRUE(tinyrl_bind_key(session.editor, '?', insert_name));
    EXPECT_TRUE(tinyrl_bind_key(session.editor, 0, insert_name));
    EXPECT_TRUE(tinyrl_bind_key(session.editor, 255, insert_name));
    EXPECT_TRUE(tinyrl_bind_key(session.editor, 'x', refuse));
    EXPECT_EQ("a<63><0><255>", session.read(std::string("a?\0\xffx\r", 6)));
    EXPECT_EQ(1, bells(session));
}

TEST(tinyrl_keys, only_bytes_can_be_bound)
{
    tinyrl_session session;
    EXPECT_FALSE(tinyrl_bind_key(session.editor, -1, insert_name));
    EXPECT_FALSE(tinyrl_bind_key(session.editor, 256, insert_name));
}

TEST(tinyrl_keys, escape_starts_a_sequence_whatever_is_bound)
{
    tinyrl_session session;
    EXPECT_TRUE(tinyrl_bind_key(session.editor, 27, insert_name));
    EXPECT_EQ("xab", session.read("ab\x1b[Hx\r"));
}

TEST(tinyrl_keys, rebinding_a_control_key_leaves_its_twin_alone)
{
    tinyrl_session session;
    EXPECT_TRUE(tinyrl_bind_key(session.editor, 1, refuse));
    EXPECT_EQ("xab", session.read("ab\x1b[Hx\r"));
}

TEST(tinyrl_keys, hook_sees_every_byte)
{
    tinyrl_session session;
    memset(sequence_seen, 0, sizeof(sequence_seen));
    tinyrl_get_settings(session.editor)->keypress_hook = note_byte;
    EXPECT_EQ("b\xff", session.read("ab" LEFT "\x7f\x05\xff\r"));
    EXPECT_STREQ("ab\x1b[D\x7f\x05\xff\r", sequence_seen);
    tinyrl_get_settings(session.editor)->keypress_hook = nullptr;
    EXPECT_EQ("a", session.read("a\r"));
    EXPECT_STREQ("ab\x1b[D\x7f\x05\xff\r", sequence_seen);
}

TEST(tinyrl_keys, time_out_ends_the_read)
{
    tinyrl_session session;
    EXPECT_EQ("(none)", session.read("abc"));
    EXPECT_EQ(2, session.error);
    EXPECT_EQ("> abc", session.all_drawn());
}

TEST(tinyrl_keys, time_out_handler_may_keep_waiting)
{
    tinyrl_session session;
    timeouts = 0;
    tinyrl_get_settings(session.editor)->timeout_handler = wait_twice;
    EXPECT_EQ("(none)", session.read("abc"));
    EXPECT_EQ(3, timeouts);
    tinyrl_get_settings(session.editor)->timeout_handler = nullptr;
    EXPECT_EQ("(none)", session.read("abc"));
    EXPECT_EQ(3, timeouts);
}

TEST(tinyrl_keys, maximum_length_is_never_reached)
{
    tinyrl_session session;
    tinyrl_get_settings(session.editor)->max_line_length = 5;
    EXPECT_EQ("abcd", session.read("abcdef\r"));
    EXPECT_EQ(2, bells(session));
    EXPECT_EQ("abxd", session.read("abcd" LEFT "\x7fx\r"));
    session.remember("abcdefgh");
    EXPECT_EQ("abcdefg", session.read(UP "\x7fx\r"));
    EXPECT_EQ(1, bells(session));
    tinyrl_get_settings(session.editor)->max_line_length = 0;
    EXPECT_EQ("abcdef", session.read("abcdef\r"));
}

TEST(tinyrl_keys, utf8_moves_and_deletes_whole_characters)
{
    tinyrl_session session;
    tinyrl_get_settings(session.editor)->utf8 = true;
    EXPECT_EQ("a\xc3\xa9", session.read("a\xc3\xa9\xe6\x97\xa5\x7f\r"));
    EXPECT_EQ("\xe6\x97\xa5", session.read("\xc3\xa9\xe6\x97\xa5\x01\x04\r"));
    EXPECT_EQ("ax\xc3\xa9y", session.read("a\xc3\xa9" LEFT "x" RIGHT "y\r"));
    EXPECT_EQ("\xf0\x9f\x98\x80", session.read("\xf0\x9f\x98\x80z\xf0\x9f\x98\x80" LEFT "\x08"
                                               "\x04\r"));
}

TEST(tinyrl_keys, without_utf8_every_byte_is_a_character)
{
    EXPECT_EQ("\xc3", typed("\xc3\xa9\x7f"));
    EXPECT_EQ("\xc3x\xa9", typed("\xc3\xa9" LEFT "x"));
}

TEST(tinyrl_keys, long_lines_are_kept_whole)
{
    std::string line;
    for (int i = 0; i < 300; i++)
        line += std::to_string(i);
    EXPECT_EQ(line, typed(line));
}
