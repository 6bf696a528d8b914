// Argument vectors.
#include "base/args.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>
#include <vector>

namespace
{

using words = std::vector<std::string>;

words words_of(const args &vector)
{
    words result;
    for (int i = 0; i < vector.argc; i++)
        result.emplace_back(vector.argv[i]);
    if (vector.argv != nullptr) {
        EXPECT_EQ(vector.argv[vector.argc], nullptr);
        EXPECT_LT(vector.argc, vector.capacity);
    }
    return result;
}

words split(const std::string &line)
{
    arg_words vector(line.c_str());
    return words_of(vector);
}

std::string restored(const std::string &word)
{
    std::string text = word;
    args_restore(text.data());
    return text;
}

std::string guarded(const std::string &line)
{
    std::string text = line;
    args_protect(text.data());
    return text;
}

TEST(addargs, runs_of_blanks_give_no_words)
{
    EXPECT_EQ(split("set  /a   1"), (words{"set", "/a", "1"}));
    EXPECT_EQ(split("   set /a 1   "), (words{"set", "/a", "1"}));
}

TEST(addargs, tabs_and_newlines_separate_like_blanks)
{
    EXPECT_EQ(split("set\t/a\n1"), (words{"set", "/a", "1"}));
    EXPECT_EQ(split("\t\n \t"), words{});
}

TEST(addargs, nothing_else_separates)
{
    EXPECT_EQ(split("a\rb\vc\fd e"), (words{"a\rb\vc\fd", "e"}));
}

TEST(addargs, a_blank_in_quotes_is_a_code)
{
    words got = split("set /a \"x y\"");
    EXPECT_EQ(got, (words{"set", "/a", "\"x\x03y\""}));
    EXPECT_EQ(restored(got[2]), "\"x y\"");
}

TEST(addargs, a_tab_in_quotes_becomes_the_blank_s_code)
{
    EXPECT_EQ(split("set /a \"x\ty\nz\""), (words{"set", "/a", "\"x\x03y\x03z\""}));
}

TEST(addargs, path_punctuation_in_quotes_is_a_code)
{
    words got = split("set /a 'k=[1,2]'");
    EXPECT_EQ(got, (words{"set", "/a",
                          "'k\x0d\x0b"
                          "1\x0e"
                          "2\x0c'"}));
    EXPECT_EQ(restored(got[2]), "'k=[1,2]'");
}

TEST(addargs, an_unmatched_quote_protects_nothing)
{
    EXPECT_EQ(split("set /a \"x y"), (words{"set", "/a", "\"x", "y"}));
    EXPECT_EQ(split("a 'b c' \"d e"), (words{"a",
                                             "'b\x03"
                                             "c'",
                                             "\"d", "e"}));
}

TEST(addargs, an_unmatched_quote_ends_the_protection_of_the_rest)
{
    // The first quote has no partner, so nothing after it is looked at.
    EXPECT_EQ(split("a \"b 'c d'"), (words{"a", "\"b", "'c", "d'"}));
}

TEST(addargs, the_other_quote_inside_a_region_is_a_plain_character)
{
    EXPECT_EQ(split("a \"it's b\" 'x \"y'"), (words{"a",
                                                    "\"it's\x03"
                                                    "b\"",
                                                    "'x\x03\"y'"}));
}

TEST(addargs, a_region_inside_a_word_counts)
{
    EXPECT_EQ(split("cd l[k=\"a b\",j='c]']"), (words{"cd", "l[k=\"a\x03"
                                                            "b\",j='c\x0c']"}));
}

TEST(addargs, adjacent_regions)
{
    EXPECT_EQ(split("\"\"\" \"'' ' '"), (words{"\"\"\"\x03\"''", "'\x03'"}));
}

TEST(addargs, an_empty_line_gives_no_array)
{
    for (const char *line : {"", " ", "     ", "\t"}) {
        args vector = {};
        addargs(&vector, "%s", line);
        EXPECT_EQ(vector.argc, 0);
        EXPECT_EQ(vector.argv, nullptr);
        EXPECT_EQ(vector.capacity, 0);
    }
}

TEST(addargs, formats_and_appends)
{
    args vector;
    args_init(&vector);
    addargs(&vector, "%s %d", "set", 5);
    addargs(&vector, "more");
    EXPECT_EQ(words_of(vector), (words{"set", "5", "more"}));
    args_free(&vector);
}

TEST(addargs, the_line_is_no_format)
{
    EXPECT_EQ(split("%n%s %d%%"), (words{"%n%s", "%d%%"}));
}

TEST(addargs, a_null_vector_is_ignored)
{
    addargs(nullptr, "%s", "a b");
}

TEST(addargs, the_capacity_grows_by_eight_at_the_seventh_word)
{
    args vector = {};
    addargs(&vector, "%s", "1");
    EXPECT_EQ(vector.capacity, 8);
    addargs(&vector, "%s", "2 3 4 5 6");
    EXPECT_EQ(vector.argc, 6);
    EXPECT_EQ(vector.capacity, 8);
    addargs(&vector, "%s", "7");
    EXPECT_EQ(vector.argc, 7);
    EXPECT_EQ(vector.capacity, 16);
    EXPECT_EQ(words_of(vector), (words{"1", "2", "3", "4", "5", "6", "7"}));
    for (int i = vector.argc; i < vector.capacity; i++)
        EXPECT_EQ(vector.argv[i], nullptr);
    addargs(&vector, "%s", "8 9 10 11 12 13 14");
    EXPECT_EQ(vector.capacity, 16);
    addargs(&vector, "%s", "15");
    EXPECT_EQ(vector.capacity, 24);
    args_free(&vector);
}

TEST(addargs, many_words_and_long_words)
{
    std::string line;
    for (int i = 0; i < 20000; i++)
        line += "w" + std::to_string(i) + " ";
    words got = split(line + std::string(1 << 20, 'x'));
    ASSERT_EQ(got.size(), 20001U);
    EXPECT_EQ(got[19999], "w19999");
    EXPECT_EQ(got[20000].size(), 1U << 20);
}

TEST(addargs, many_quotes_take_linear_time)
{
    std::string line;
    for (int i = 0; i < 200000; i++)
        line += "'a b'";
    EXPECT_EQ(split(line).size(), 1U);
    EXPECT_EQ(split(std::string(2000000, '\n')).size(), 0U);
    // The partner of each quote is near, but the other quote never comes.
    EXPECT_EQ(split("\"" + line + "\"").size(), 1U);
}

TEST(args_init, zeroes_the_record)
{
    args vector = {reinterpret_cast<char **>(&vector), 4, 5};
    args_init(&vector);
    EXPECT_EQ(vector.argv, nullptr);
    EXPECT_EQ(vector.argc, 0);
    EXPECT_EQ(vector.capacity, 0);
    args_init(nullptr);
}

TEST(args_free, leaves_an_empty_vector)
{
    args vector = {};
    addargs(&vector, "%s", "a b c");
    args_free(&vector);
    EXPECT_EQ(vector.argv, nullptr);
    EXPECT_EQ(vector.argc, 0);
    EXPECT_EQ(vector.capacity, 0);
    args_free(&vector);
    vector.argc = 3; // without an array the record is only zeroed
    args_free(&vector);
    EXPECT_EQ(vector.argc, 0);
}

TEST(args_grow, makes_eight_slots_then_eight_more)
{
    args vector = {};
    EXPECT_EQ(args_grow(&vector), 0);
    EXPECT_NE(vector.argv, nullptr);
    EXPECT_EQ(vector.capacity, 8);
    EXPECT_EQ(vector.argc, 0);
    char **array = vector.argv;
    EXPECT_EQ(args_grow(&vector), 0);
    EXPECT_EQ(vector.argv, array);
    for (int i = 0; i < 5; i++)
        vector.argv[vector.argc++] = strdup("w");
    EXPECT_EQ(args_grow(&vector), 0); // 5 + 2 < 8
    EXPECT_EQ(vector.capacity, 8);
    vector.argv[vector.argc++] = strdup("w");
    EXPECT_EQ(args_grow(&vector), 0);
    EXPECT_EQ(vector.capacity, 16);
    args_free(&vector);
}

TEST(args_protect, only_inside_quotes)
{
    EXPECT_EQ(guarded("a b[c=d,e]"), "a b[c=d,e]");
    EXPECT_EQ(guarded("a b'c d'e f"), "a b'c\x03"
                                      "d'e f");
    EXPECT_EQ(guarded("'[]=, ' x\"[]=, \""), "'\x0b\x0c\x0d\x0e\x03' x\"\x0b\x0c\x0d\x0e\x03\"");
    EXPECT_EQ(guarded(""), "");
    EXPECT_EQ(guarded("\""), "\"");
    EXPECT_EQ(guarded("' '\" "), "'\x03'\" ");
}

TEST(args_protect, slash_and_colon_stay)
{
    EXPECT_EQ(guarded("'a/b:c'"), "'a/b:c'");
}

TEST(args_protect, twice_is_once)
{
    std::string once = guarded("set '[ ]' \"= ,\"");
    EXPECT_EQ(guarded(once), once);
}

TEST(args_restore, maps_every_code_back)
{
    EXPECT_EQ(restored("\x03\x0b\x0c\x0d\x0e"), " []=,");
    EXPECT_EQ(restored("a\x01\x02\x04\x0f z"), "a\x01\x02\x04\x0f z");
    args_restore(nullptr);
}

TEST(args_restore, bytes_typed_by_the_operator_are_taken_for_codes)
{
    words got = split("set /a x\x03y\x0d");
    EXPECT_EQ(got, (words{"set", "/a", "x\x03y\x0d"}));
    EXPECT_EQ(restored(got[2]), "x y=");
}

TEST(args_restore, bytes_above_127_stay)
{
    EXPECT_EQ(restored("\xc3\xa4\xff"), "\xc3\xa4\xff");
    EXPECT_EQ(split("\xc3\xa4 \xe2\x82\xac"), (words{"\xc3\xa4", "\xe2\x82\xac"}));
}

} // namespace
