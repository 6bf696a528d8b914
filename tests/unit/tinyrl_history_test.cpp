#include "tinyrl/history.h"

#include <errno.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <stdio.h>
#include <stdlib.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{

struct history_free {
    void operator()(struct history *history) const
    {
        history_clear(history);
        delete history;
    }
};

using history_ptr = std::unique_ptr<struct history, history_free>;

history_ptr make_history(size_t limit, const std::vector<const char *> &lines)
{
    history_ptr history(new struct history(history_with(limit)));
    for (const char *line : lines)
        history_add(history.get(), line);
    return history;
}

// "1 a|2 b": numbers and lines, oldest first.
std::string dump(const history_ptr &history)
{
    std::string text;
    struct history_iterator iterator;
    for (const struct history_entry *entry = history_first(history.get(), &iterator);
         entry != nullptr; entry = history_next(&iterator)) {
        text += text.empty() ? "" : "|";
        text += std::to_string(entry->index) + " " + entry->line;
    }
    return text;
}

std::string dump_backwards(const history_ptr &history)
{
    std::string text;
    struct history_iterator iterator;
    for (const struct history_entry *entry = history_last(history.get(), &iterator);
         entry != nullptr; entry = history_previous(&iterator)) {
        text += text.empty() ? "" : "|";
        text += entry->line;
    }
    return text;
}

std::string expand(const history_ptr &history, const char *text, bool expected)
{
    char *result = nullptr;
    EXPECT_EQ(expected, history_expand(history.get(), text, &result)) << text;
    std::string copy = result != nullptr ? result : "(null)";
    free(result);
    return copy;
}

class tinyrl_history_file : public testing::Test
{
  protected:
    void SetUp() override
    {
        ASSERT_NE(nullptr, mkdtemp(directory));
        path = std::string(directory) + "/history";
    }

    void TearDown() override
    {
        unlink(path.c_str());
        rmdir(directory);
    }

    void write_file(const std::string &text) const
    {
        std::ofstream(path, std::ios::binary) << text;
    }

    std::string read_file() const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    char directory[32] = "/tmp/tinyrl-history-XXXXXX";
    std::string path;
};

} // namespace

TEST(tinyrl_history, is_empty_at_first)
{
    history_ptr history = make_history(10, {});
    EXPECT_EQ("", dump(history));
    EXPECT_EQ("", dump_backwards(history));
    EXPECT_EQ(nullptr, history_get(history.get(), 0));
    EXPECT_EQ(nullptr, history_get(history.get(), 1));
    EXPECT_EQ(nullptr, history_remove(history.get(), 0));
    EXPECT_TRUE(history_is_stifled(history.get()));
}

TEST(tinyrl_history, numbers_from_one_oldest_first)
{
    history_ptr history = make_history(10, {"ls", "pwd", "cd a"});
    EXPECT_EQ("1 ls|2 pwd|3 cd a", dump(history));
    EXPECT_EQ("cd a|pwd|ls", dump_backwards(history));
}

TEST(tinyrl_history, eleventh_distinct_line_pushes_out_the_oldest)
{
    history_ptr history = make_history(10, {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"});
    EXPECT_EQ("2 b|3 c|4 d|5 e|6 f|7 g|8 h|9 i|10 j|11 k", dump(history));
}

TEST(tinyrl_history, repeated_line_moves_to_the_newest_place)
{
    history_ptr history = make_history(10, {"a", "b", "c", "a"});
    EXPECT_EQ("2 b|3 c|4 a", dump(history));
}

TEST(tinyrl_history, repeated_line_in_a_full_history_keeps_the_oldest)
{
    history_ptr history = make_history(3, {"a", "b", "c", "b"});
    EXPECT_EQ("1 a|3 c|4 b", dump(history));
    history_add(history.get(), "b");
    EXPECT_EQ("1 a|3 c|5 b", dump(history));
}

TEST(tinyrl_history, numbers_are_never_used_again)
{
    history_ptr history = make_history(2, {"a", "b"});
    history_clear(history.get());
    history_add(history.get(), "c");
    EXPECT_EQ("3 c", dump(history));
}

TEST(tinyrl_history, lines_are_told_apart_byte_by_byte)
{
    history_ptr history = make_history(10, {"ls", "ls ", "LS", ""});
    EXPECT_EQ("1 ls|2 ls |3 LS|4 ", dump(history));
}

TEST(tinyrl_history, limit_of_one_keeps_the_newest)
{
    history_ptr history = make_history(1, {"a", "b", "b"});
    EXPECT_EQ("3 b", dump(history));
}

TEST(tinyrl_history, without_a_limit_everything_is_kept)
{
    history_ptr history = make_history(0, {});
    EXPECT_FALSE(history_is_stifled(history.get()));
    for (int i = 0; i < 1000; i++)
        history_add(history.get(), std::to_string(i).c_str());
    for (unsigned i = 0; i < 1000; i++) {
        const struct history_entry *entry = history_get(history.get(), i + 1);
        ASSERT_NE(nullptr, entry);
        EXPECT_EQ(std::to_string(i), entry->line);
    }
    EXPECT_EQ(nullptr, history_get(history.get(), 1001));
}

TEST(tinyrl_history, a_line_of_the_history_itself_can_be_added)
{
    history_ptr history = make_history(3, {"a", "b", "c"});
    history_add(history.get(), history_get(history.get(), 1)->line);
    EXPECT_EQ("2 b|3 c|4 a", dump(history));
}

TEST(tinyrl_history, keeps_a_copy)
{
    char line[] = "pwd";
    history_ptr history = make_history(3, {line});
    line[0] = 'x';
    EXPECT_EQ("1 pwd", dump(history));
}

TEST(tinyrl_history, get_finds_by_number)
{
    history_ptr history = make_history(2, {"a", "b", "c"});
    EXPECT_EQ(nullptr, history_get(history.get(), 1));
    EXPECT_STREQ("b", history_get(history.get(), 2)->line);
    EXPECT_STREQ("c", history_get(history.get(), 3)->line);
    EXPECT_EQ(nullptr, history_get(history.get(), 4));
}

TEST(tinyrl_history, remove_hands_the_entry_over)
{
    history_ptr history = make_history(10, {"a", "b", "c"});
    struct history_entry *entry = history_remove(history.get(), 1);
    ASSERT_NE(nullptr, entry);
    EXPECT_STREQ("b", entry->line);
    EXPECT_EQ(2U, entry->index);
    history_entry_delete(entry);
    EXPECT_EQ("1 a|3 c", dump(history));
    EXPECT_EQ(nullptr, history_remove(history.get(), 2));
    history_entry_delete(history_remove(history.get(), 1));
    history_entry_delete(history_remove(history.get(), 0));
    EXPECT_EQ("", dump(history));
    history_add(history.get(), "d");
    EXPECT_EQ("4 d", dump(history));
}

TEST(tinyrl_history, clearing_an_empty_history_does_nothing)
{
    history_ptr history = make_history(10, {});
    history_clear(history.get());
    EXPECT_EQ("", dump(history));
    history_add(history.get(), "a");
    history_clear(history.get());
    history_clear(history.get());
    EXPECT_EQ("", dump(history));
}

TEST(tinyrl_history, stifle_removes_the_oldest)
{
    history_ptr history = make_history(0, {"a", "b", "c", "d"});
    history_stifle(history.get(), 2);
    EXPECT_EQ("3 c|4 d", dump(history));
    EXPECT_TRUE(history_is_stifled(history.get()));
    history_add(history.get(), "e");
    EXPECT_EQ("4 d|5 e", dump(history));
}

TEST(tinyrl_history, stifle_to_zero_is_ignored)
{
    history_ptr history = make_history(3, {"a", "b", "c"});
    history_stifle(history.get(), 0);
    EXPECT_EQ("1 a|2 b|3 c", dump(history));
    EXPECT_TRUE(history_is_stifled(history.get()));
    EXPECT_EQ(3U, history_unstifle(history.get()));
}

TEST(tinyrl_history, stifle_above_the_length_only_sets_the_limit)
{
    history_ptr history = make_history(0, {"a", "b"});
    history_stifle(history.get(), 3);
    history_add(history.get(), "c");
    history_add(history.get(), "d");
    EXPECT_EQ("2 b|3 c|4 d", dump(history));
}

TEST(tinyrl_history, unstifle_lifts_the_limit)
{
    history_ptr history = make_history(2, {"a", "b"});
    EXPECT_EQ(2U, history_unstifle(history.get()));
    EXPECT_FALSE(history_is_stifled(history.get()));
    EXPECT_EQ(0U, history_unstifle(history.get()));
    history_add(history.get(), "c");
    EXPECT_EQ("1 a|2 b|3 c", dump(history));
}

TEST(tinyrl_history, iterators_stay_at_the_ends)
{
    history_ptr history = make_history(10, {"a", "b"});
    struct history_iterator iterator;
    ASSERT_NE(nullptr, history_first(history.get(), &iterator));
    EXPECT_EQ(nullptr, history_previous(&iterator));
    EXPECT_STREQ("b", history_next(&iterator)->line);
    EXPECT_EQ(nullptr, history_next(&iterator));
    EXPECT_EQ(nullptr, history_next(&iterator));
    EXPECT_STREQ("a", history_previous(&iterator)->line);
}

TEST(tinyrl_history, iterator_survives_a_change)
{
    history_ptr history = make_history(3, {"a", "b", "c"});
    struct history_iterator iterator;
    ASSERT_NE(nullptr, history_last(history.get(), &iterator));
    history_clear(history.get());
    EXPECT_EQ(nullptr, history_next(&iterator));
    EXPECT_EQ(nullptr, history_previous(&iterator));
}

TEST(tinyrl_history_death, a_history_without_room_for_its_entries_aborts)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    struct history broken = {nullptr, 0, 10, 1, 0};
    EXPECT_DEATH(history_add(&broken, "line"),
                 "^history\\.c: insert_entry: Assertion `this->entries' failed\\.");
}

TEST(tinyrl_history_expand, leaves_other_text_alone)
{
    history_ptr history = make_history(10, {"ls"});
    EXPECT_EQ("", expand(history, "", false));
    EXPECT_EQ("set a/b -3", expand(history, "set a/b -3", false));
}

TEST(tinyrl_history_expand, two_marks_are_the_newest)
{
    history_ptr history = make_history(10, {"ls", "pwd"});
    EXPECT_EQ("pwd", expand(history, "!!", true));
    EXPECT_EQ("x pwd y", expand(history, "x !! y", true));
}

TEST(tinyrl_history_expand, numbers_are_absolute)
{
    history_ptr history = make_history(2, {"a", "bb", "ccc"});
    EXPECT_EQ("<bb>", expand(history, "<!2>", true));
    EXPECT_EQ("ccc bb", expand(history, "!3 !2", true));
}

TEST(tinyrl_history_expand, negative_numbers_count_back)
{
    history_ptr history = make_history(10, {"a", "bb", "ccc"});
    EXPECT_EQ("ccc", expand(history, "!-1", true));
    EXPECT_EQ("a", expand(history, "!-3", true));
}

TEST(tinyrl_history_expand, unknown_numbers_stay_as_text)
{
    history_ptr history = make_history(2, {"a", "bb", "ccc"});
    EXPECT_EQ("<!1>", expand(history, "<!1>", false));
    EXPECT_EQ("!0 !-4 !99999999999999999999",
              expand(history, "!0 !-4 !99999999999999999999", false));
    EXPECT_EQ("!1 ccc", expand(history, "!1 !!", true));
}

TEST(tinyrl_history_expand, a_mark_without_a_number_ends_the_result)
{
    history_ptr history = make_history(10, {"a"});
    EXPECT_EQ("say ", expand(history, "say !x then !!", false));
    EXPECT_EQ("wow", expand(history, "wow!", false));
    EXPECT_EQ("a ", expand(history, "!! !-", true));
}

TEST(tinyrl_history_expand, the_whole_run_is_the_reference)
{
    history_ptr history = make_history(10, {"a", "bb"});
    EXPECT_EQ("a.", expand(history, "!1!2.", true));
    EXPECT_EQ("bb.", expand(history, "!!1-.", true));
}

TEST(tinyrl_history_expand, blanks_before_the_number_stay)
{
    history_ptr history = make_history(10, {"a"});
    EXPECT_EQ("a 1", expand(history, "! 1", true));
}

TEST(tinyrl_history_expand, newest_number_without_entry_stays)
{
    history_ptr history = make_history(10, {"a", "b"});
    history_entry_delete(history_remove(history.get(), 1));
    EXPECT_EQ("!!", expand(history, "!!", false));
    EXPECT_EQ("a", expand(history, "!-2", true));
}

TEST(tinyrl_history_expand, long_lines_fit)
{
    std::string line(5000, 'x');
    history_ptr history = make_history(10, {line.c_str()});
    EXPECT_EQ(line + line + "," + line, expand(history, (line + "!1,!1").c_str(), true));
}

TEST_F(tinyrl_history_file, saves_oldest_first)
{
    history_ptr history = make_history(2, {"a", "b b", "%s"});
    EXPECT_EQ(0, history_save(history.get(), path.c_str()));
    EXPECT_EQ("b b\n%s\n", read_file());
}

TEST_F(tinyrl_history_file, saving_replaces_the_file)
{
    write_file("something longer than that\n");
    history_ptr history = make_history(2, {});
    EXPECT_EQ(0, history_save(history.get(), path.c_str()));
    EXPECT_EQ("", read_file());
}

TEST_F(tinyrl_history_file, a_missing_path_is_refused)
{
    history_ptr history = make_history(2, {"a"});
    errno = 0;
    EXPECT_EQ(-1, history_save(history.get(), nullptr));
    EXPECT_EQ(22, errno);
    errno = 0;
    EXPECT_EQ(-1, history_load(history.get(), nullptr));
    EXPECT_EQ(22, errno);
}

TEST_F(tinyrl_history_file, failing_writes_are_reported)
{
    history_ptr history = make_history(2, {"a"});
    EXPECT_EQ(-1, history_save(history.get(), (path + "/none").c_str()));
    EXPECT_EQ(-1, history_save(history.get(), "/dev/full"));
}

TEST_F(tinyrl_history_file, loads_through_add)
{
    write_file("one\ntwo\none\n\nthree");
    history_ptr history = make_history(4, {"zero"});
    EXPECT_EQ(0, history_load(history.get(), path.c_str()));
    EXPECT_EQ("3 two|4 one|5 |6 three", dump(history));
}

TEST_F(tinyrl_history_file, loads_lines_of_any_length)
{
    std::string line(100000, 'x');
    write_file(line + "\nb\n");
    history_ptr history = make_history(4, {});
    EXPECT_EQ(0, history_load(history.get(), path.c_str()));
    EXPECT_EQ("1 " + line + "|2 b", dump(history));
}

TEST_F(tinyrl_history_file, a_file_that_cannot_be_opened_is_no_error)
{
    history_ptr history = make_history(4, {"a"});
    EXPECT_EQ(0, history_load(history.get(), path.c_str()));
    EXPECT_EQ("1 a", dump(history));
}

TEST_F(tinyrl_history_file, a_file_that_cannot_be_read_is_an_error)
{
    history_ptr history = make_history(4, {"a"});
    EXPECT_EQ(-1, history_load(history.get(), directory));
    EXPECT_EQ("1 a", dump(history));
}
