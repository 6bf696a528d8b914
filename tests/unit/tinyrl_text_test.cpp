// The operations by which others change the line, and broken rules.
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <vector>

#include "tests/support/tinyrl_session.h"

// An allocation that is too large fails under the sanitizer as it does elsewhere.
// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" const char *__asan_default_options(void)
{
    return "allocator_may_return_null=1";
}

namespace
{

struct removal {
    size_t start;
    size_t end;
};

removal wanted;
std::string seen;

bool remove_wanted(struct tinyrl *editor, int /*key*/)
{
    tinyrl_delete_text(editor, wanted.start, wanted.end);
    seen = std::string(tinyrl_get_line(editor)) + "@" + std::to_string(tinyrl_get_point(editor));
    return true;
}

// "abcdef" with the cursor back places before its end, after the removal, as
// text@point.
std::string after_removal(size_t start, size_t end, int back)
{
    tinyrl_session session;
    tinyrl_bind_key(session.editor, 6, remove_wanted);
    wanted = {start, end};
    std::string keys = "abcdef";
    for (int i = 0; i < back; i++)
        keys += "\x1b[D";
    std::string result = session.read(keys + "\x06\r");
    EXPECT_EQ(seen.substr(0, seen.find('@')), result);
    return seen;
}

bool insert_and_look(struct tinyrl *editor, int /*key*/)
{
    bool done = tinyrl_insert_text(editor, "xyz---", 3);
    seen = std::string(tinyrl_get_line(editor)) + "@" + std::to_string(tinyrl_get_point(editor));
    return done;
}

bool insert_nothing(struct tinyrl *editor, int /*key*/)
{
    return tinyrl_insert_text(editor, "", 0);
}

size_t too_much;

bool insert_too_much(struct tinyrl *editor, int /*key*/)
{
    return tinyrl_insert_text(editor, seen.data(), too_much);
}

std::vector<std::string> offered;
size_t offered_start;
bool offered_prefix;
bool offered_result;

// The words as a list ended by null.
std::vector<char *> as_list(std::vector<std::string> &words)
{
    std::vector<char *> list(words.size() + 1);
    for (size_t i = 0; i < words.size(); i++)
        list[i] = words[i].data();
    return list;
}

// Completes with the words of offered.
bool complete_offered(struct tinyrl *editor, int /*key*/)
{
    std::vector<char *> matches = as_list(offered);
    offered_result = tinyrl_complete_matches(editor, offered_start, matches.data(), offered_prefix);
    return true;
}

bool complete_nothing(struct tinyrl *editor, int /*key*/)
{
    offered_result = tinyrl_complete_matches(editor, 0, nullptr, true);
    return true;
}

// Completes the text that keys make; returns the line, and in *drawn what was
// written.
std::string completed(const std::string &keys, const std::vector<std::string> &matches,
                      std::string *drawn, size_t start = 0, bool allow_prefix = false)
{
    tinyrl_session session;
    offered = matches;
    offered_start = start;
    offered_prefix = allow_prefix;
    tinyrl_bind_key(session.editor, 6, complete_offered);
    std::string line = session.read(keys + "\x06\r");
    *drawn = session.drawn[keys.size() + 1];
    return line;
}

// What the listing of matches writes at this width.
std::string listed(int width, std::vector<std::string> words, size_t longest)
{
    tinyrl_session session(width);
    std::vector<char *> matches = as_list(words);
    tinyrl_display_matches(session.editor, matches.data(), words.size(), longest);
    fflush(session.output);
    return session.take();
}

size_t asked_start;
size_t asked_end;
std::string asked_line;

char **complete_from_offered(struct tinyrl * /*editor*/, const char *line, size_t start, size_t end)
{
    asked_line = line;
    asked_start = start;
    asked_end = end;
    if (offered.empty())
        return nullptr;
    char **matches = static_cast<char **>(calloc(offered.size() + 1, sizeof(char *)));
    for (size_t i = 0; i < offered.size(); i++)
        matches[i] = strdup(offered[i].c_str());
    return matches;
}

class tinyrl_default_tab : public testing::Test
{
  protected:
    void SetUp() override
    {
        tinyrl_session::complete_with() = complete_from_offered;
    }

    void TearDown() override
    {
        tinyrl_session::complete_with() = nullptr;
    }
};

} // namespace

TEST(tinyrl_text, removal_includes_both_ends)
{
    EXPECT_EQ("aef@3", after_removal(1, 3, 0));
    EXPECT_EQ("abcde@5", after_removal(5, 5, 0));
    EXPECT_EQ("@0", after_removal(0, 5, 0));
}

TEST(tinyrl_text, removal_is_clamped_to_the_line)
{
    EXPECT_EQ("abc@3", after_removal(3, 6, 0));
    EXPECT_EQ("abc@3", after_removal(3, 1000, 0));
    EXPECT_EQ("@0", after_removal(0, SIZE_MAX, 0));
}

TEST(tinyrl_text, removal_behind_the_line_does_nothing)
{
    EXPECT_EQ("abcdef@6", after_removal(6, 6, 0));
    EXPECT_EQ("abcdef@6", after_removal(6, 9, 0));
    EXPECT_EQ("abcdef@4", after_removal(100, SIZE_MAX, 2));
}

TEST(tinyrl_text, removal_behind_a_recalled_line_leaves_it_recalled)
{
    tinyrl_session session;
    session.remember("one");
    session.remember("two");
    tinyrl_bind_key(session.editor, 6, remove_wanted);
    wanted = {3, 3};
    EXPECT_EQ("one", session.read("\x1b[A\x06\x1b[A\r"));
}

TEST(tinyrl_text, reversed_removal_takes_one_byte_at_the_smaller)
{
    EXPECT_EQ("abdef@5", after_removal(4, 2, 0));
    EXPECT_EQ("bcdef@5", after_removal(100, 0, 0));
}

TEST(tinyrl_text, removal_moves_the_cursor)
{
    EXPECT_EQ("aef@0", after_removal(1, 3, 6));
    EXPECT_EQ("aef@1", after_removal(1, 3, 5));
    EXPECT_EQ("aef@1", after_removal(1, 3, 4));
    EXPECT_EQ("aef@1", after_removal(1, 3, 3));
    EXPECT_EQ("aef@1", after_removal(1, 3, 2));
    EXPECT_EQ("aef@2", after_removal(1, 3, 1));
}

TEST(tinyrl_text, insertion_moves_the_cursor_behind_it)
{
    tinyrl_session session;
    tinyrl_bind_key(session.editor, 6, insert_and_look);
    EXPECT_EQ("abxyzcd", session.read("abcd\x1b[D\x1b[D\x06\r"));
    EXPECT_EQ("abxyzcd@5", seen);
    EXPECT_EQ("xyz", session.read("\x06\r"));
    EXPECT_EQ("xyz@3", seen);
}

TEST(tinyrl_text, nothing_can_be_inserted)
{
    tinyrl_session session;
    tinyrl_bind_key(session.editor, 6, insert_nothing);
    EXPECT_EQ("ab", session.read("a\x06"
                                 "b\r"));
}

TEST(tinyrl_text, insertion_into_a_recalled_line_keeps_the_history)
{
    tinyrl_session session;
    session.remember("ab");
    tinyrl_bind_key(session.editor, 6, insert_and_look);
    EXPECT_EQ("abxyz", session.read("\x1b[A\x06\r"));
    EXPECT_EQ("ab", session.read("\x1b[A\r"));
}

TEST(tinyrl_text, insertion_that_does_not_fit_rings)
{
    tinyrl_session session;
    tinyrl_bind_key(session.editor, 6, insert_and_look);
    tinyrl_get_settings(session.editor)->max_line_length = 5;
    EXPECT_EQ("ab", session.read("ab\x06\r"));
    EXPECT_EQ("\a\a", session.drawn[3]);
}

TEST(tinyrl_text, text_too_long_for_any_memory_rings)
{
    tinyrl_session session;
    tinyrl_bind_key(session.editor, 6, insert_too_much);
    // The last one just passes as a length; the memory for it is more than any object.
    for (size_t length : {SIZE_MAX, SIZE_MAX / 2, SIZE_MAX / 2 - 2}) {
        too_much = length;
        EXPECT_EQ("abc", session.read("ab\x06"
                                      "c\r"));
        EXPECT_EQ("\a\a", session.drawn[3]);
    }
}

TEST(tinyrl_text_death, broken_rules_abort)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(tinyrl_delete(nullptr), "^tinyrl\\.c: tinyrl_delete: Assertion `this' failed\\.");
    tinyrl_session session;
    EXPECT_DEATH(tinyrl_display_matches(session.editor, nullptr, 0, 0),
                 "^tinyrl\\.c: tinyrl_display_matches: Assertion `matches' failed\\.");
    EXPECT_DEATH(tinyrl_insert_text(session.editor, "a", 1),
                 "^tinyrl\\.c: changed_line: Assertion `this->line' failed\\.");
    EXPECT_DEATH(tinyrl_delete_text(session.editor, 0, 0),
                 "^tinyrl\\.c: changed_line: Assertion `this->line' failed\\.");
}

TEST(tinyrl_matches, rows_are_filled_from_left_to_right)
{
    EXPECT_EQ("a    bb   cccc dd   \n", listed(24, {"a", "bb", "cccc", "dd"}, 4));
    EXPECT_EQ("a    bb   cccc dd   e\n", listed(24, {"a", "bb", "cccc", "dd", "e"}, 4));
    EXPECT_EQ("a    bb   cccc dd   e\nf    \n", listed(24, {"a", "bb", "cccc", "dd", "e", "f"}, 4));
}

TEST(tinyrl_matches, the_number_of_columns_follows_the_width)
{
    EXPECT_EQ("a b c d e\nf \n", listed(9, {"a", "b", "c", "d", "e", "f"}, 1));
    EXPECT_EQ("a b c d e\nf \n", listed(10, {"a", "b", "c", "d", "e", "f"}, 1));
    EXPECT_EQ("a b c d e f\n", listed(11, {"a", "b", "c", "d", "e", "f"}, 1));
    EXPECT_EQ("a    bcde\nf    \n", listed(9, {"a", "bcde", "f"}, 4));
    EXPECT_EQ("a\nbcde\nf\n", listed(8, {"a", "bcde", "f"}, 4));
}

TEST(tinyrl_matches, long_candidates_stand_one_on_a_row)
{
    EXPECT_EQ("a\nbcdefghi\n", listed(8, {"a", "bcdefghi"}, 8));
    EXPECT_EQ("a\nbcdefgh\n", listed(8, {"a", "bcdefgh"}, 7));
    EXPECT_EQ("a\nbcdefghij\n", listed(8, {"a", "bcdefghij"}, 9));
}

TEST(tinyrl_matches, eighty_columns_without_a_terminal)
{
    std::vector<std::string> words(21, "abc");
    std::string row;
    for (int i = 0; i < 19; i++)
        row += "abc ";
    EXPECT_EQ(row + "abc\nabc \n", listed(0, words, 3));
}

TEST(tinyrl_matches, no_candidates_no_rows)
{
    EXPECT_EQ("", listed(20, {}, 0));
}

TEST(tinyrl_matches, candidates_are_no_formats)
{
    EXPECT_EQ("%s %n %d \n", listed(20, {"%s", "%n", "%d"}, 2));
}

TEST(tinyrl_matches, what_a_terminal_would_obey_is_listed_as_question_marks)
{
    EXPECT_EQ("a?[2J ?     a?2J?\n",
              listed(18, {"a\033[2J", "\xc2\x9b", "a\x9b\x32J\xe2\x80\xae"}, 5));
}

TEST(tinyrl_matches, what_is_inserted_keeps_its_bytes)
{
    std::string drawn;
    EXPECT_EQ("a\033[2J\xc2\x9b", completed("a", {"a\033[2J\xc2\x9b"}, &drawn));
}

TEST(tinyrl_matches, an_empty_list_completes_nothing)
{
    std::string drawn;
    offered_result = true;
    EXPECT_EQ("ab", completed("ab", {}, &drawn));
    EXPECT_FALSE(offered_result);
    EXPECT_EQ("", drawn);
    offered_result = true;
    EXPECT_EQ("ab", completed("ab", {"", "abc"}, &drawn));
    EXPECT_FALSE(offered_result);
    EXPECT_EQ("", drawn);
    tinyrl_session session;
    offered_result = true;
    tinyrl_bind_key(session.editor, 6, complete_nothing);
    EXPECT_EQ("ab", session.read("ab\x06\r"));
    EXPECT_FALSE(offered_result);
}

TEST(tinyrl_matches, a_single_candidate_is_inserted)
{
    std::string drawn;
    EXPECT_EQ("commit", completed("co", {"commit"}, &drawn));
    EXPECT_TRUE(offered_result);
    EXPECT_EQ("mmit", drawn);
    EXPECT_EQ("commit", completed("commit", {"commit"}, &drawn));
    EXPECT_TRUE(offered_result);
    EXPECT_EQ("", drawn);
    EXPECT_EQ("set if/mtu", completed("set if/m", {"mtu"}, &drawn, 7));
    EXPECT_EQ("tu", drawn);
}

TEST(tinyrl_matches, the_common_prefix_of_several_is_inserted)
{
    std::string drawn;
    EXPECT_EQ("get", completed("g", {"get", "get-config"}, &drawn));
    EXPECT_FALSE(offered_result);
    EXPECT_EQ("et", drawn);
    EXPECT_EQ("ab", completed("", {"abc", "abd", "ab"}, &drawn));
    EXPECT_EQ("ab", drawn);
}

TEST(tinyrl_matches, several_are_listed_when_nothing_changes)
{
    std::string drawn;
    EXPECT_EQ("get", completed("get", {"get", "get-config"}, &drawn));
    EXPECT_FALSE(offered_result);
    EXPECT_EQ("\nget        get-config \n> get", drawn);
    EXPECT_EQ("x", completed("x", {"abc", "xyz"}, &drawn));
    EXPECT_EQ("\nabc xyz \n> x", drawn);
    EXPECT_EQ("getx", completed("getx", {"get", "get-config"}, &drawn));
    EXPECT_EQ("\nget        get-config \n> getx", drawn);
}

TEST(tinyrl_matches, a_prefix_that_is_a_candidate_may_do)
{
    std::string drawn;
    completed("get", {"get", "get-config"}, &drawn, 0, true);
    EXPECT_TRUE(offered_result);
    EXPECT_EQ("", drawn);
    completed("g", {"get-config", "get"}, &drawn, 0, true);
    EXPECT_TRUE(offered_result);
    EXPECT_EQ("et", drawn);
    completed("a", {"abc", "abd"}, &drawn, 0, true);
    EXPECT_FALSE(offered_result);
    EXPECT_EQ("b", drawn);
    completed("s", {"setup", "set", "sea"}, &drawn, 0, true);
    EXPECT_FALSE(offered_result);
    EXPECT_EQ("e", drawn);
}

TEST(tinyrl_matches, in_the_middle_of_a_line_the_byte_under_the_cursor_goes)
{
    std::string drawn;
    EXPECT_EQ("commit", completed("coX\x1b[D", {"commit"}, &drawn));
    EXPECT_EQ("mmit", drawn);
    EXPECT_EQ("commitY", completed("coXY\x1b[D\x1b[D", {"commit"}, &drawn));
    EXPECT_EQ("mmitY\x1b[1D\x1b[1C\x1b[1D", drawn);
}

TEST(tinyrl_matches, a_recalled_line_is_completed_in_a_copy)
{
    tinyrl_session session;
    session.remember("co");
    offered = {"commit"};
    offered_start = 0;
    tinyrl_bind_key(session.editor, 6, complete_offered);
    EXPECT_EQ("commit", session.read("\x1b[A\x06\r"));
    EXPECT_EQ("co", session.read("\x1b[A\r"));
}

TEST_F(tinyrl_default_tab, without_candidates_it_rings)
{
    tinyrl_session session;
    offered = {};
    EXPECT_EQ("ab", session.read("ab\t\r"));
    EXPECT_EQ("\a", session.drawn[3]);
}

TEST_F(tinyrl_default_tab, it_asks_for_the_word_before_the_cursor)
{
    tinyrl_session session;
    offered = {};
    session.read("set abXY\x1b[D\x1b[D\t\r");
    EXPECT_EQ("set abXY", asked_line);
    EXPECT_EQ(4U, asked_start);
    EXPECT_EQ(6U, asked_end);
}

TEST_F(tinyrl_default_tab, a_unique_word_gets_a_blank)
{
    tinyrl_session session;
    offered = {"abc"};
    EXPECT_EQ("set abc x", session.read("set a\tx\r"));
    EXPECT_EQ("bc ", session.drawn[6]);
    EXPECT_EQ("abc x", session.read("abc\tx\r"));
    EXPECT_EQ(" ", session.drawn[4]);
    offered = {"abc", "ABC"};
    EXPECT_EQ("abc x", session.read("a\tx\r"));
}

TEST_F(tinyrl_default_tab, several_words_are_listed)
{
    tinyrl_session session;
    offered = {"ab", "abc"};
    EXPECT_EQ("ab", session.read("a\t\r"));
    EXPECT_EQ("\nab  abc \n> ab", session.drawn[2]);
}

TEST(tinyrl_text, without_a_completion_function_tab_rings)
{
    tinyrl_session session;
    EXPECT_EQ("ab", session.read("a\tb\r"));
    EXPECT_EQ("\a", session.drawn[2]);
}
