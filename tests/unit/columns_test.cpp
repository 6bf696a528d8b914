// The multi-column listing.
#include "base/columns.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits.h>
#include <malloc.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <vector>

#include "base/session.h"
#include "tests/support/captured_output.h"

namespace
{

class columns_test : public testing::Test
{
  protected:
    void SetUp() override
    {
        session = session_record();
        unsetenv("COLUMNS");
    }

    void TearDown() override
    {
        listing_free();
    }

    static void start(unsigned width)
    {
        setenv("COLUMNS", std::to_string(width).c_str(), 1);
        ASSERT_EQ(listing_start(), 0);
    }

    // Lists names of class 7 and returns the lines without their colours.
    static std::string listed(unsigned width, const std::vector<std::string> &names)
    {
        session.listing.width = 0;
        start(width);
        for (const std::string &name : names)
            EXPECT_EQ(listing_add(name.c_str(), 0), 0);
        std::string text = printed();
        for (const char *code : {"\033[0m"}) {
            for (size_t at; (at = text.find(code)) != std::string::npos;)
                text.erase(at, strlen(code));
        }
        return text;
    }

    static std::string printed()
    {
        captured_output output;
        listing_print();
        return output.text();
    }
};

TEST_F(columns_test, the_width_from_the_environment)
{
    EXPECT_EQ(listing_width(nullptr), 80U);
    EXPECT_EQ(listing_width(""), 80U);
    EXPECT_EQ(listing_width("0"), 80U);
    EXPECT_EQ(listing_width("-1"), 80U);
    EXPECT_EQ(listing_width("-99999999999999999999"), 80U);
    EXPECT_EQ(listing_width("abc"), 80U);
    EXPECT_EQ(listing_width(" "), 80U);
    EXPECT_EQ(listing_width("99999999999999999999"), 80U); // errno is set
    EXPECT_EQ(listing_width("0x50"), 80U);
    EXPECT_EQ(listing_width("0X28"), 40U);
    EXPECT_EQ(listing_width("0120"), 80U);
    EXPECT_EQ(listing_width("010"), 8U);
    EXPECT_EQ(listing_width("132"), 132U);
    EXPECT_EQ(listing_width(" 40"), 40U);
    EXPECT_EQ(listing_width("40 columns"), 40U);
    EXPECT_EQ(listing_width("40.9"), 40U);
    EXPECT_EQ(listing_width("1"), 1U);
    EXPECT_EQ(listing_width("10000"), 10000U);
    EXPECT_EQ(listing_width("10001"), 10000U);
    EXPECT_EQ(listing_width("20000"), 10000U);
    EXPECT_EQ(listing_width("2147483647"), 10000U);
}

// 2^31 - 1 is a number everywhere; the next one is none where a long has 32 bits.
TEST_F(columns_test, the_width_is_a_long)
{
    const unsigned above = sizeof(long) == 4 ? 80 : 10000;
    EXPECT_EQ(listing_width(std::to_string(LONG_MAX).c_str()), 10000U);
    EXPECT_EQ(listing_width((std::to_string(LONG_MAX) + "0").c_str()), 80U);
    EXPECT_EQ(listing_width(std::to_string(LONG_MIN).c_str()), 80U);
    EXPECT_EQ(listing_width("0x7fffffff"), 10000U);
    EXPECT_EQ(listing_width("2147483648"), above);
    EXPECT_EQ(listing_width("0x80000000"), above);
    EXPECT_EQ(listing_width("4294967376"), above); // 2^32 + 80
    EXPECT_EQ(listing_width("-2147483649"), 80U);
}

TEST_F(columns_test, the_width_is_read_once)
{
    start(40);
    EXPECT_EQ(session.listing.width, 40U);
    EXPECT_EQ(session.listing.max_columns, 13U);
    start(100);
    EXPECT_EQ(session.listing.width, 40U);
    session.listing.width = 0;
    start(2);
    EXPECT_EQ(session.listing.max_columns, 1U);
}

TEST_F(columns_test, ten_names_of_five_bytes_in_one_row)
{
    std::vector<std::string> names;
    std::string expected;
    for (int i = 0; i < 10; i++) {
        names.push_back("name" + std::to_string(i));
        expected += "name" + std::to_string(i) + (i < 9 ? "  " : "\n");
    }
    EXPECT_EQ(listed(80, names), expected);
}

TEST_F(columns_test, nothing_and_a_single_entry)
{
    EXPECT_EQ(listed(80, {}), "");
    EXPECT_EQ(listed(80, {"one"}), "one\n");
    EXPECT_EQ(listed(80, {std::string(500, 'x')}), std::string(500, 'x') + "\n");
    EXPECT_EQ(listed(1, {"a", "b"}), "a\nb\n");
}

TEST_F(columns_test, columns_run_from_top_to_bottom)
{
    // Three columns need 3 + 3 + 3; the line must be shorter than the width.
    EXPECT_EQ(listed(10, {"a", "b", "c", "d", "e", "f", "g"}), "a  d  g\nb  e\nc  f\n");
    EXPECT_EQ(listed(80, {"a", "b", "c", "d", "e", "f", "g"}), "a  b  c  d  e  f  g\n");
}

TEST_F(columns_test, names_are_sorted_by_bytes)
{
    EXPECT_EQ(listed(80, {"b", "B", "a", "\xc3\xa4", "_", "10", "9"}),
              "10  9  B  _  a  b  \xc3\xa4\n");
}

TEST_F(columns_test, the_line_must_stay_below_the_width)
{
    // Two columns: 5 + 2 and 5 make 12.
    EXPECT_EQ(listed(13, {"aaaaa", "bbbbb"}), "aaaaa  bbbbb\n");
    EXPECT_EQ(listed(12, {"aaaaa", "bbbbb"}), "aaaaa\nbbbbb\n");
    // Columns that no entry widens are not looked at again: 6 columns of 3 in 18.
    EXPECT_EQ(listed(18, {"a", "b", "c", "d", "e", "f"}), "a  b  c  d  e  f\n");
    EXPECT_EQ(listed(18, {"a", "b", "c", "d", "e", "ffff"}), "a  c  e\nb  d  ffff\n");
}

TEST_F(columns_test, a_wide_name_widens_its_column_only)
{
    EXPECT_EQ(listed(30, {"a", "bbbbbbbbbb", "c", "d", "e", "f", "g", "h", "i", "j"}),
              "a           c  e  g  i\nbbbbbbbbbb  d  f  h  j\n");
}

TEST_F(columns_test, colours)
{
    const char *codes[] = {"0",     "01;34", "01;36", "33",    "01;35", "01;33",
                           "01;33", "",      "",      "01;32", "01;35"};
    start(3);
    std::string expected;
    for (unsigned i = 0; i < 11; i++) {
        std::string name(1, static_cast<char>('a' + i));
        ASSERT_EQ(listing_add(name.c_str(), i), 0);
        expected += std::string("\033[") + codes[i] + "m" + name + "\033[0m\n";
    }
    EXPECT_EQ(printed(), expected);
}

TEST_F(columns_test, padding_counts_bytes_of_the_name)
{
    start(80);
    listing_add("long-name", 1);
    listing_add("x", 2);
    EXPECT_EQ(printed(), "\033[01;34mlong-name\033[0m  \033[01;36mx\033[0m\n");
}

TEST_F(columns_test, refused_entries)
{
    start(80);
    EXPECT_EQ(listing_add(nullptr, 0), -1);
    EXPECT_EQ(listing_add("a", 11), -1);
    EXPECT_EQ(listing_add("a", 4000000000U), -1);
    EXPECT_EQ(session.listing.count, 0U);
    EXPECT_EQ(listing_add("", 0), 0);
    EXPECT_EQ(printed(), "\033[0m\033[0m\n");
}

TEST_F(columns_test, names_are_copied)
{
    start(80);
    char name[] = "abc";
    listing_add(name, 7);
    name[0] = 'x';
    EXPECT_EQ(printed(), "\033[mabc\033[0m\n");
}

TEST_F(columns_test, the_101st_entry_doubles_the_capacity)
{
    start(80);
    EXPECT_EQ(session.listing.capacity, 100U);
    for (int i = 0; i < 100; i++)
        listing_add("x", 0);
    EXPECT_EQ(session.listing.capacity, 100U);
    listing_add("y", 0);
    EXPECT_EQ(session.listing.capacity, 200U);
    EXPECT_EQ(session.listing.count, 101U);
    start(80);
    EXPECT_EQ(session.listing.capacity, 100U);
    EXPECT_EQ(session.listing.count, 0U);
}

TEST_F(columns_test, merged_entries)
{
    start(80);
    listing_entry *item = listing_merge(nullptr, "( ", 7);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->color_class, 7U);
    EXPECT_EQ(listing_merge(item, "a", 1), item);
    EXPECT_EQ(item->color_class, 11U);
    EXPECT_EQ(listing_merge(item, "b", 0), item);
    EXPECT_EQ(listing_merge(item, "c", 8), item);
    EXPECT_EQ(listing_merge(item, ")", 7), item);
    EXPECT_STREQ(item->name, "( \033[01;34ma\033[0m\033[0mb\033[0mc)");
    EXPECT_EQ(session.listing.count, 1U);
    EXPECT_EQ(printed(), "( \033[01;34ma\033[0m\033[0mb\033[0mc)\n");
}

TEST_F(columns_test, refused_merges)
{
    start(80);
    listing_entry *item = listing_merge(nullptr, "x", 1);
    EXPECT_EQ(listing_merge(item, nullptr, 1), nullptr);
    EXPECT_EQ(listing_merge(item, "y", 11), nullptr);
    EXPECT_EQ(listing_merge(nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(listing_merge(nullptr, "y", 11), nullptr);
    EXPECT_STREQ(item->name, "x");
    EXPECT_EQ(item->color_class, 1U);
    EXPECT_EQ(session.listing.count, 1U);
}

TEST_F(columns_test, colour_codes_of_a_merged_name_widen_its_column)
{
    start(40);
    listing_entry *item = listing_merge(nullptr, "(", 7);
    listing_merge(item, "aa", 1);
    listing_add("b", 7);
    listing_add("c", 7);
    // 1 + 8 + 2 + 4 = 15 bytes, though three are seen.
    EXPECT_EQ(printed(), "(\033[01;34maa\033[0m  \033[mb\033[0m  \033[mc\033[0m\n");
    session.listing.width = 0;
    start(20);
    item = listing_merge(nullptr, "(", 7);
    listing_merge(item, "aa", 1);
    listing_add("b", 7);
    listing_add("c", 7);
    EXPECT_EQ(printed(), "(\033[01;34maa\033[0m\n\033[mb\033[0m\n\033[mc\033[0m\n");
}

TEST_F(columns_test, masked_characters_are_restored)
{
    start(80);
    listing_add("l[k='a\x03"
                "b\x0b\x0c\x0d\x0e']",
                2);
    EXPECT_EQ(printed(), "\033[01;36ml[k='a b[]=,']\033[0m\n");
}

TEST_F(columns_test, what_a_terminal_would_obey_is_a_question_mark)
{
    start(80);
    listing_add("a\xc2\x9b"
                "2J\n",
                2);
    listing_add("b\033[2J", 1);
    // The columns are as wide as the names' bytes.
    EXPECT_EQ(printed(), "\033[01;36ma?2J?\033[0m   \033[01;34mb?[2J\033[0m\n");
}

TEST_F(columns_test, a_merged_entry_keeps_its_own_colours_only)
{
    start(80);
    listing_entry *item = listing_merge(nullptr, "\033(", 7);
    listing_merge(item, "a\033[2J\x03", 1);
    listing_merge(item, "\x9b)", 7);
    EXPECT_EQ(printed(), "?(\033[01;34ma?[2J \033[0m?)\n");
}

TEST_F(columns_test, names_are_no_formats)
{
    start(80);
    listing_add("%s%n", 7);
    listing_entry *item = listing_merge(nullptr, "%d", 7);
    listing_merge(item, "%p", 7);
    EXPECT_EQ(printed(), "%d%p  \033[m%s%n\033[0m\n");
}

// The layout as a listing of directories does it, written down once more.
std::string reference(unsigned width, std::vector<std::string> names)
{
    std::sort(names.begin(), names.end());
    size_t n = names.size();
    size_t most = std::min<size_t>(std::max(1U, width / 3), n);
    std::vector<std::vector<size_t>> widths(most + 1);
    std::vector<size_t> lines(most + 1);
    std::vector<bool> valid(most + 1, true);
    for (size_t c = 1; c <= most; c++) {
        widths[c].assign(c, 3);
        lines[c] = 3 * c;
    }
    for (size_t f = 0; f < n; f++) {
        for (size_t c = 1; c <= most; c++) {
            if (!valid[c])
                continue;
            size_t idx = f / ((n + c - 1) / c);
            size_t needed = names[f].size() + (idx == c - 1 ? 0 : 2);
            if (widths[c][idx] < needed) {
                lines[c] += needed - widths[c][idx];
                widths[c][idx] = needed;
                valid[c] = lines[c] < width;
            }
        }
    }
    size_t c = most;
    while (c > 1 && !valid[c])
        c--;
    size_t rows = (n + c - 1) / c;
    std::string text;
    for (size_t r = 0; r < rows; r++) {
        for (size_t i = r, column = 0; i < n; i += rows, column++) {
            text += names[i];
            if (i + rows < n)
                text += std::string(widths[c][column] - names[i].size(), ' ');
        }
        text += "\n";
    }
    return text;
}

TEST_F(columns_test, any_listing_is_laid_out_alike)
{
    unsigned state = 12345;
    auto random = [&state](unsigned below) {
        state = state * 1103515245U + 12345U;
        return (state >> 16) % below;
    };
    for (int round = 0; round < 400; round++) {
        std::vector<std::string> names;
        unsigned count = 1 + random(60);
        for (unsigned i = 0; i < count; i++)
            names.push_back(std::to_string(i) + std::string(random(12), 'x'));
        unsigned width = 1 + random(140);
        ASSERT_EQ(listed(width, names), reference(width, names)) << width;
    }
}

// A table of every layout that such a line has room for takes tens of megabytes.
TEST_F(columns_test, a_wide_line_needs_no_more_memory_than_its_listing)
{
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    const size_t before = mallinfo2().arena;
    start(10000);
    for (int i = 0; i < 20; i++)
        ASSERT_EQ(listing_add(("entry" + std::to_string(i)).c_str(), 2), 0);
    const std::string text = printed();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
    EXPECT_LT(mallinfo2().arena - before, 1U << 20);
}

TEST_F(columns_test, a_large_listing_is_laid_out)
{
    setenv("COLUMNS", "10000", 1);
    ASSERT_EQ(listing_start(), 0);
    for (int i = 0; i < 20000; i++)
        ASSERT_EQ(listing_add(("entry" + std::to_string(i)).c_str(), 2), 0);
    EXPECT_GT(printed().size(), 300000U);
}

} // namespace
