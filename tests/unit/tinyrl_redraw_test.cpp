// The bytes that appear on the terminal, key by key.
#include <gtest/gtest.h>
#include <string>

#include "tests/support/tinyrl_session.h"

#define UP "\x1b[A"
#define RIGHT "\x1b[C"
#define LEFT "\x1b[D"
#define NEXT_LINE                                                                                  \
    "\x1b"                                                                                         \
    "E"

namespace
{

// What the last key of keys makes the editor write, at this width.
std::string after_key(int width, const char *prompt, const std::string &keys, size_t key_length = 1)
{
    tinyrl_session session(width);
    session.read(keys + "\r", prompt);
    std::string enter = session.drawn.back();
    EXPECT_EQ("\n", enter);
    session.drawn.pop_back();
    return session.drawn_last(key_length);
}

tinyrl_session *resized;

bool widen(struct tinyrl * /*editor*/, int /*key*/)
{
    resized->screen.set_columns(30);
    return true;
}

bool widen_and_shorten(struct tinyrl *editor, int /*key*/)
{
    resized->screen.set_columns(30);
    tinyrl_delete_text(editor, 0, 0);
    return true;
}

bool list_something(struct tinyrl *editor, int /*key*/)
{
    tinyrl_crlf(editor);
    tinyrl_printf(editor, "%s %d\n", "listed", 7);
    tinyrl_reset_line_state(editor);
    return false;
}

bool redraw_twice(struct tinyrl *editor, int /*key*/)
{
    tinyrl_insert_text(editor, "xyz", 3);
    tinyrl_redisplay(editor);
    tinyrl_delete_text(editor, 0, 0);
    tinyrl_redisplay(editor);
    return true;
}

std::string drawn_at_once;

bool redraw_and_look(struct tinyrl *editor, int /*key*/)
{
    tinyrl_insert_text(editor, "xyz", 3);
    tinyrl_redisplay(editor);
    drawn_at_once = resized->screen.take();
    return true;
}

} // namespace

TEST(tinyrl_redraw, a_read_begins_with_the_prompt)
{
    tinyrl_session session;
    session.read("\r");
    EXPECT_EQ("> ", session.drawn[0]);
    EXPECT_EQ("\n", session.drawn[1]);
    session.read("\r", "/interfaces$ ");
    EXPECT_EQ("/interfaces$ ", session.drawn[0]);
    session.read("\r", "%s%n%d ");
    EXPECT_EQ("%s%n%d ", session.drawn[0]);
}

TEST(tinyrl_redraw, typing_writes_the_byte)
{
    tinyrl_session session;
    session.read("ab%\xe9\r");
    ASSERT_EQ(6U, session.drawn.size());
    EXPECT_EQ("> ", session.drawn[0]);
    EXPECT_EQ("a", session.drawn[1]);
    EXPECT_EQ("b", session.drawn[2]);
    EXPECT_EQ("%", session.drawn[3]);
    EXPECT_EQ("\xe9", session.drawn[4]);
    EXPECT_EQ("\n", session.drawn[5]);
}

TEST(tinyrl_redraw, ctrl_c_writes_a_new_line)
{
    tinyrl_session session;
    session.read("ab\x03");
    EXPECT_EQ("\n", session.drawn.back());
    EXPECT_EQ("> ab\n", session.all_drawn());
}

TEST(tinyrl_redraw, nothing_is_drawn_within_a_sequence)
{
    tinyrl_session session;
    session.read("ab" LEFT "\x1b[3~\r");
    ASSERT_EQ(11U, session.drawn.size());
    EXPECT_EQ("", session.drawn[3]);
    EXPECT_EQ("", session.drawn[4]);
    EXPECT_EQ("\x1b[1D", session.drawn[5]);
    EXPECT_EQ("", session.drawn[6]);
    EXPECT_EQ("", session.drawn[7]);
    EXPECT_EQ("", session.drawn[8]);
    EXPECT_EQ("\x1b[J", session.drawn[9]);
}

TEST(tinyrl_redraw, inserting_rewrites_the_rest)
{
    EXPECT_EQ("xb\x1b[1D", after_key(0, "> ", "ab" LEFT "x"));
    EXPECT_EQ("yxb\x1b[2D", after_key(0, "> ", "axb" LEFT LEFT "y"));
}

TEST(tinyrl_redraw, the_common_prefix_is_the_longest)
{
    EXPECT_EQ("\x1b[3Ca\x1b[3D", after_key(0, "> ",
                                           "aaa\x01"
                                           "a"));
    EXPECT_EQ("\x1b[2Cab\x1b[3D", after_key(0, "> ",
                                            "aab\x01"
                                            "a"));
}

TEST(tinyrl_redraw, moving_goes_over_the_end)
{
    EXPECT_EQ("\x1b[2D", after_key(0, "> ", "ab\x01"));
    EXPECT_EQ("\x1b[1C\x1b[3D", after_key(0, "> ", "abc" LEFT "\x01"));
    EXPECT_EQ("\x1b[3C", after_key(0, "> ", "abc\x01\x05"));
    EXPECT_EQ("\x1b[3C\x1b[2D", after_key(0, "> ", "abc\x01" RIGHT, 3));
    EXPECT_EQ("\x1b[1C", after_key(0, "> ", "abc" LEFT RIGHT, 3));
    EXPECT_EQ("", after_key(0, "> ", "abc\x05"));
}

TEST(tinyrl_redraw, a_failing_key_rings_and_redraws)
{
    EXPECT_EQ("\a", after_key(0, "> ", "\x02"));
    EXPECT_EQ("\a", after_key(0, "> ", "ab" RIGHT, 3));
    EXPECT_EQ("\a\x1b[2C\x1b[2D", after_key(0, "> ", "ab\x01" LEFT, 3));
    EXPECT_EQ("\a\x1b[2C\x1b[2D", after_key(0, "> ", "ab\x01\x7f"));
}

TEST(tinyrl_redraw, deleting_erases_what_is_left)
{
    EXPECT_EQ("\x1b[1D\x1b[J", after_key(0, "> ", "ab\x7f"));
    EXPECT_EQ("\x1b[1Dc\x1b[J\x1b[1D", after_key(0, "> ", "abc" LEFT "\x7f"));
    EXPECT_EQ("c\x1b[J\x1b[1D", after_key(0, "> ", "abc" LEFT LEFT "\x04"));
    EXPECT_EQ("\x1b[J", after_key(0, "> ", "abc" LEFT LEFT "\x0b"));
    EXPECT_EQ("\x1b[2Dc\x1b[J\x1b[1D", after_key(0, "> ", "abc" LEFT "\x15"));
    EXPECT_EQ("\x1b[3D\x1b[J", after_key(0, "> ", "ab cde\x17"));
}

TEST(tinyrl_redraw, yank_writes_the_kill_string)
{
    EXPECT_EQ("ab", after_key(0, "> ", "ab\x15\x19"));
    EXPECT_EQ("cdab\x1b[2D", after_key(0, "> ", "abcd" LEFT LEFT "\x0b\x01\x19"));
}

TEST(tinyrl_redraw, clear_screen_draws_everything_again)
{
    EXPECT_EQ("\x1b[2J\x1b[H> abc", after_key(0, "> ", "abc\x0c"));
    EXPECT_EQ("\x1b[2J\x1b[H> abc\x1b[1D\x1b[1C\x1b[1D", after_key(0, "> ", "abc" LEFT "\x0c"));
}

TEST(tinyrl_redraw, recalled_lines_replace_what_differs)
{
    tinyrl_session session;
    session.remember("q");
    session.remember("abxyz");
    session.read("abc" UP UP "\x1b[B\x1b[B\r");
    EXPECT_EQ("\x1b[1Dxyz", session.drawn[6]);
    EXPECT_EQ("\x1b[5Dq\x1b[J", session.drawn[9]);
    EXPECT_EQ("\x1b[1D"
              "abxyz",
              session.drawn[12]);
    EXPECT_EQ("\x1b[3D"
              "c\x1b[J",
              session.drawn[15]);
}

TEST(tinyrl_redraw, a_recalled_line_that_is_edited_keeps_its_drawing)
{
    tinyrl_session session;
    session.remember("abcdef");
    session.read(UP "x\r");
    EXPECT_EQ("abcdef", session.drawn[3]);
    EXPECT_EQ("x", session.drawn[4]);
}

TEST(tinyrl_redraw, the_right_margin_is_passed_with_a_next_line)
{
    const std::string nineteen = "abcdefghijklmnopqrs";
    EXPECT_EQ("s", after_key(20, "", nineteen));
    EXPECT_EQ("t" NEXT_LINE, after_key(20, "", nineteen + "t"));
    EXPECT_EQ("u", after_key(20, "", nineteen + "tu"));
    EXPECT_EQ("\x1b[1D\x1b[J", after_key(20, "", nineteen + "tu\x7f"));
    EXPECT_EQ("\x1b[19C\x1b[1A\x1b[J", after_key(20, "", nineteen + "t\x7f"));
    EXPECT_EQ("t" NEXT_LINE, after_key(20, "", nineteen + "t\x7ft"));
}

TEST(tinyrl_redraw, other_widths_have_their_margin)
{
    for (int width : {40, 80, 132}) {
        std::string line(static_cast<size_t>(width) - 1, 'x');
        EXPECT_EQ("x", after_key(width, "", line));
        EXPECT_EQ("y" NEXT_LINE, after_key(width, "", line + "y"));
        EXPECT_EQ("z" NEXT_LINE,
                  after_key(width, "", std::string(line).append("y").append(line).append("z")));
        std::string forward = std::to_string(width - 1);
        EXPECT_EQ("\x1b[" + forward + "C\x1b[1A\x1b[J", after_key(width, "", line + "y\x7f"));
    }
}

TEST(tinyrl_redraw, a_width_of_one_works)
{
    EXPECT_EQ("b" NEXT_LINE, after_key(1, "", "ab"));
    EXPECT_EQ("\x1b[1A\x1b[J", after_key(1, "", "ab\x7f"));
    EXPECT_EQ("\x1b[2A", after_key(1, "", "ab\x01"));
}

TEST(tinyrl_redraw, rows_are_crossed_relatively)
{
    const std::string line = "abcdefghijklmnopqrstuvwxy";
    EXPECT_EQ("\x1b[5D\x1b[1A", after_key(20, "", line + "\x01"));
    EXPECT_EQ("\x1b[5C\x1b[1B", after_key(20, "", line + "\x01\x05"));
    EXPECT_EQ("\x1b[5C\x1b[1B\x1b[4D\x1b[1A", after_key(20, "", line + "\x01" RIGHT, 3));
    EXPECT_EQ("\x1b[5D\x1b[1A\x1b[J", after_key(20, "", line + "\x15"));
    EXPECT_EQ("\x1b[10D\x1b[2A", after_key(20, "", line + line + "\x01"));
}

TEST(tinyrl_redraw, inserting_up_to_the_margin_comes_back_from_the_next_row)
{
    EXPECT_EQ("xabcdefghijklmnopqrs" NEXT_LINE "\x1b[1C\x1b[1A",
              after_key(20, "", "abcdefghijklmnopqrs\x01x"));
}

TEST(tinyrl_redraw, a_line_up_to_the_margin_is_redrawn_without_a_next_line)
{
    EXPECT_EQ("\x1b[1A", after_key(20, "", "abcdefghijklmnopqrst\x01"));
    EXPECT_EQ("\x1b[1B", after_key(20, "", "abcdefghijklmnopqrst\x01\x05"));
    EXPECT_EQ("\x1b[19C\x1b[1A", after_key(20, "", "abcdefghijklmnopqrst" LEFT, 3));
}

TEST(tinyrl_redraw, the_prompt_takes_no_part_in_the_arithmetic)
{
    EXPECT_EQ("q", after_key(20, "/$ ", "abcdefghijklmnopq"));
    EXPECT_EQ("r", after_key(20, "/$ ", "abcdefghijklmnopqr"));
    EXPECT_EQ("t" NEXT_LINE, after_key(20, "/$ ", "abcdefghijklmnopqrst"));
    EXPECT_EQ("u", after_key(20, "/$ ", "abcdefghijklmnopqrstu"));
    tinyrl_session session(20);
    session.read("\r", "a prompt as wide as t");
    EXPECT_EQ("a prompt as wide as t", session.drawn[0]);
    session.read("\r", "a prompt as wide as ");
    EXPECT_EQ("a prompt as wide as ", session.drawn[0]);
}

TEST(tinyrl_redraw, a_new_width_draws_on_the_next_line)
{
    tinyrl_session session(20);
    resized = &session;
    tinyrl_bind_key(session.editor, 6, widen);
    session.read("abc\x06"
                 "d\r");
    EXPECT_EQ(NEXT_LINE "\x1b[J> abc", session.drawn[4]);
    EXPECT_EQ("d", session.drawn[5]);
    session.screen.set_columns(20);
    session.read("abc" LEFT "\x06\r");
    EXPECT_EQ(NEXT_LINE "\x1b[J> ", session.drawn[0]);
    EXPECT_EQ(NEXT_LINE "\x1b[J> abc\x1b[1D", session.drawn[7]);
}

TEST(tinyrl_redraw, a_new_width_with_a_shorter_line_erases_twice)
{
    tinyrl_session session(20);
    resized = &session;
    tinyrl_bind_key(session.editor, 6, widen_and_shorten);
    session.read("abc\x06\r");
    EXPECT_EQ(NEXT_LINE "\x1b[J> bc\x1b[J", session.drawn[4]);
}

TEST(tinyrl_redraw, a_width_that_changed_between_reads_counts_once)
{
    tinyrl_session session(20);
    session.read("a\r");
    EXPECT_EQ("> a\n", session.all_drawn());
    session.screen.set_columns(40);
    session.read("a\r");
    EXPECT_EQ(NEXT_LINE "\x1b[J> a\n", session.all_drawn());
    session.read("a\r");
    EXPECT_EQ("> a\n", session.all_drawn());
}

TEST(tinyrl_redraw, a_width_that_changed_before_the_first_read_counts)
{
    tinyrl_session session(20);
    session.screen.set_columns(40);
    session.read("\r");
    EXPECT_EQ(NEXT_LINE "\x1b[J> ", session.drawn[0]);
}

TEST(tinyrl_redraw, at_a_new_width_the_line_wraps_anew)
{
    tinyrl_session session(20);
    resized = &session;
    tinyrl_bind_key(session.editor, 6, widen);
    session.read("abcdefghijklmnopqrstuvwxyzABCD\x06\x01\r", "");
    EXPECT_EQ(NEXT_LINE "\x1b[J"
                        "abcdefghijklmnopqrstuvwxyzABCD" NEXT_LINE,
              session.drawn[31]);
    EXPECT_EQ("\x1b[1A", session.drawn[32]);
}

TEST(tinyrl_redraw, reset_draws_prompt_and_line_where_the_cursor_is)
{
    tinyrl_session session;
    tinyrl_bind_key(session.editor, '?', list_something);
    session.read("ab" LEFT "?\r");
    EXPECT_EQ("\nlisted 7\n> ab\x1b[1D\a\x1b[1C\x1b[1D", session.drawn[6]);
}

TEST(tinyrl_redraw, each_redisplay_starts_from_the_last)
{
    tinyrl_session session;
    tinyrl_bind_key(session.editor, '?', redraw_twice);
    session.read("ab" LEFT "?\r");
    EXPECT_EQ("xyzb\x1b[1D"
              "\x1b[4Dxyzb\x1b[J\x1b[1D"
              "\x1b[1C\x1b[1D",
              session.drawn[6]);
}

TEST(tinyrl_redraw, redisplay_is_flushed)
{
    tinyrl_session session(20);
    resized = &session;
    tinyrl_bind_key(session.editor, '?', redraw_and_look);
    session.read("ab?\r");
    EXPECT_EQ("xyz", drawn_at_once);
}

TEST(tinyrl_redraw, hidden_text_leaves_no_trace)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->echo_shown = false;
    tinyrl_get_settings(session.editor)->echo_character = '\0';
    EXPECT_EQ("secret", session.read("sexret" LEFT LEFT LEFT "\x7f"
                                     "c\x05\r"));
    EXPECT_EQ("> \x1b[J\n", session.all_drawn());
    session.read("twentytwentytwentyxx\r");
    EXPECT_EQ("> \n", session.all_drawn());
    tinyrl_get_settings(session.editor)->echo_shown = true;
    tinyrl_get_settings(session.editor)->echo_character = '\0';
    session.read("ab\r");
    EXPECT_EQ("> ab\n", session.all_drawn());
}

TEST(tinyrl_redraw, the_echo_character_stands_for_every_byte)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->echo_shown = false;
    tinyrl_get_settings(session.editor)->echo_character = '*';
    EXPECT_EQ("secret", session.read("sexret" LEFT LEFT LEFT "\x7f"
                                     "c\r"));
    EXPECT_EQ("*", session.drawn[1]);
    EXPECT_EQ("\x1b[1D***\x1b[J\x1b[3D", session.drawn[16]);
    EXPECT_EQ("****\x1b[3D", session.drawn[17]);
    session.read("twentytwentytwentyxx\r", "");
    EXPECT_EQ("*" NEXT_LINE, session.drawn[20]);
}

TEST(tinyrl_redraw, the_echo_character_counts_bytes_in_utf8_too)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->echo_shown = false;
    tinyrl_get_settings(session.editor)->echo_character = '*';
    tinyrl_get_settings(session.editor)->utf8 = true;
    session.read("\xe6\x97\xa5\x7f\r");
    EXPECT_EQ("", session.drawn[1]);
    EXPECT_EQ("", session.drawn[2]);
    EXPECT_EQ("***", session.drawn[3]);
    EXPECT_EQ("\x1b[3D\x1b[J", session.drawn[4]);
}

TEST(tinyrl_redraw, utf8_characters_appear_whole)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->utf8 = true;
    session.read("a\xc3\xa9\xe6\x97\xa5\xf0\x9f\x98\x80\r");
    EXPECT_EQ("a", session.drawn[1]);
    EXPECT_EQ("", session.drawn[2]);
    EXPECT_EQ("\xc3\xa9", session.drawn[3]);
    EXPECT_EQ("", session.drawn[4]);
    EXPECT_EQ("", session.drawn[5]);
    EXPECT_EQ("\xe6\x97\xa5", session.drawn[6]);
    EXPECT_EQ("", session.drawn[7]);
    EXPECT_EQ("", session.drawn[8]);
    EXPECT_EQ("", session.drawn[9]);
    EXPECT_EQ("\xf0\x9f\x98\x80", session.drawn[10]);
}

TEST(tinyrl_redraw, a_broken_utf8_character_does_not_stop_the_drawing)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->utf8 = true;
    session.read("\xe6\x97"
                 "ab\x80\xc3\x01\r");
    EXPECT_EQ("", session.drawn[1]);
    EXPECT_EQ("", session.drawn[2]);
    EXPECT_EQ("\xe6\x97"
              "a",
              session.drawn[3]);
    EXPECT_EQ("b", session.drawn[4]);
    EXPECT_EQ("\x1b[1D"
              "b\x80",
              session.drawn[5]);
    EXPECT_EQ("", session.drawn[6]);
    EXPECT_EQ("\xc3\x1b[6D", session.drawn[7]);
}

TEST(tinyrl_redraw, a_sequence_ends_a_broken_utf8_character)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->utf8 = true;
    session.read("\xe6\x1b[H\x97\r");
    EXPECT_EQ("", session.drawn[1]);
    EXPECT_EQ("\xe6\x1b[1D", session.drawn[4]);
    EXPECT_EQ("\x97\xe6\x1b[1D", session.drawn[5]);
}

TEST(tinyrl_redraw, utf8_moves_by_columns)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->utf8 = true;
    session.read("\xc3\xa9\xe6\x97\xa5" LEFT LEFT "\x05\x7f\r");
    EXPECT_EQ("\x1b[2D", session.drawn[8]);
    EXPECT_EQ("\x1b[2C\x1b[3D", session.drawn[11]);
    EXPECT_EQ("\x1b[3C", session.drawn[12]);
    EXPECT_EQ("\x1b[2D\x1b[J", session.drawn[13]);
}

TEST(tinyrl_redraw, utf8_wide_characters_fill_the_row)
{
    std::string nine;
    for (int i = 0; i < 9; i++)
        nine += "\xe6\x97\xa5";
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->utf8 = true;
    session.read(nine + "\xe6\x97\xa5\x7f\r", "");
    EXPECT_EQ("\xe6\x97\xa5" NEXT_LINE, session.drawn[30]);
    EXPECT_EQ("\x1b[18C\x1b[1A\x1b[J", session.drawn[31]);
}

TEST(tinyrl_redraw, utf8_differences_begin_at_a_character)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->utf8 = true;
    session.remember("a\xc3\xa8");
    session.read("a\xc3\xa9" UP "\r");
    EXPECT_EQ("\x1b[1D\xc3\xa8", session.drawn[6]);
}

TEST(tinyrl_redraw, utf8_erases_columns_that_more_bytes_leave)
{
    tinyrl_session session(20);
    tinyrl_get_settings(session.editor)->utf8 = true;
    session.remember("\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9");
    session.read("\xe6\x97\xa5\xe6\x97\xa5\xe6\x97\xa5" UP "\r");
    EXPECT_EQ("\x1b[6D\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9\x1b[J", session.drawn[12]);
}

TEST(tinyrl_redraw, outside_a_read_there_is_nothing_to_draw)
{
    tinyrl_session session;
    tinyrl_redisplay(session.editor);
    tinyrl_reset_line_state(session.editor);
    EXPECT_EQ("", session.take());
    session.read("a\r");
    EXPECT_EQ("> a\n", session.all_drawn());
}

TEST(tinyrl_redraw, bell_and_new_line)
{
    tinyrl_session session;
    tinyrl_ding(session.editor);
    EXPECT_EQ("\a", session.take());
    tinyrl_crlf(session.editor);
    EXPECT_EQ(5, tinyrl_printf(session.editor, "%s-%02d", "ab", 3));
    fflush(session.output);
    EXPECT_EQ("\nab-03", session.take());
}
