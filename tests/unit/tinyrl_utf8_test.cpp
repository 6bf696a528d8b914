#include "tinyrl/utf8.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

size_t columns(const std::string &text)
{
    return utf8_columns(text.data(), text.size());
}

size_t next(const std::string &text)
{
    return utf8_next_length(text.data(), text.size());
}

size_t previous(const std::string &text)
{
    return utf8_previous_length(text.data(), text.size());
}

} // namespace

TEST(tinyrl_utf8, plain_text_takes_a_column_a_byte)
{
    EXPECT_EQ(0U, columns(""));
    EXPECT_EQ(5U, columns("abc/ "));
}

TEST(tinyrl_utf8, narrow_characters_take_one_column)
{
    EXPECT_EQ(1U, columns("\xc3\xa9"));         // U+00E9
    EXPECT_EQ(1U, columns("\xe2\x82\xac"));     // U+20AC
    EXPECT_EQ(1U, columns("\xf0\x9f\x98\x80")); // U+1F600
}

TEST(tinyrl_utf8, wide_ranges_begin_and_end_where_they_should)
{
    struct {
        const char *before;
        const char *first;
        const char *last;
        const char *behind;
    } ranges[] = {
        {"\xe1\x83\xbf", "\xe1\x84\x80", "\xe1\x87\xbf", "\xe1\x88\x80"}, // 1100-11ff
        {"\xe2\xb9\xbf", "\xe2\xba\x80", "\xe3\x80\xbe", "\xe3\x80\xbf"}, // 2e80-303e
        {"\xe3\x80\xbf", "\xe3\x81\x80", "\xea\x93\x8f", "\xea\x93\x90"}, // 3040-a4cf
        {"\xea\xaf\xbf", "\xea\xb0\x80", "\xed\x9e\xaf", "\xed\x9e\xb0"}, // ac00-d7af
        {"\xef\xa3\xbf", "\xef\xa4\x80", "\xef\xab\xbf", "\xef\xac\x80"}, // f900-faff
        {"\xef\xb8\x8f", "\xef\xb8\x90", "\xef\xb8\x9f", "\xef\xb8\xa0"}, // fe10-fe1f
        {"\xef\xb8\xaf", "\xef\xb8\xb0", "\xef\xb9\xaf", "\xef\xb9\xb0"}, // fe30-fe6f
        {"\xef\xbb\xbf", "\xef\xbc\x80", "\xef\xbd\xa0", "\xef\xbd\xa1"}, // ff00-ff60
        {"\xef\xbf\x9f", "\xef\xbf\xa0", "\xef\xbf\xa6", "\xef\xbf\xa7"}, // ffe0-ffe6
        {"\xf0\x9d\x8b\xbf", "\xf0\x9d\x8c\x80", "\xf0\x9d\x8d\x9f",
         "\xf0\x9d\x8d\xa0"}, // 1d300-1d35f
        {"\xf0\x9f\xbf\xbf", "\xf0\xa0\x80\x80", "\xf0\xab\xa0\x9f",
         "\xf0\xab\xa0\xa0"}, // 20000-2b81f
        {"\xf0\xaf\x9f\xbf", "\xf0\xaf\xa0\x80", "\xf0\xaf\xa8\x9f",
         "\xf0\xaf\xa8\xa0"}, // 2f800-2fa1f
    };
    for (const auto &range : ranges) {
        EXPECT_EQ(1U, columns(range.before)) << range.before;
        EXPECT_EQ(2U, columns(range.first)) << range.first;
        EXPECT_EQ(2U, columns(range.last)) << range.last;
        EXPECT_EQ(1U, columns(range.behind)) << range.behind;
    }
}

TEST(tinyrl_utf8, broken_text_takes_a_column_a_byte)
{
    EXPECT_EQ(1U, columns("\x80"));
    EXPECT_EQ(2U, columns("\xe6\x97"));
    EXPECT_EQ(3U, columns("\xe6\x97x"));
    EXPECT_EQ(3U, columns("\xff\xc3\xe6"));
    EXPECT_EQ(4U, columns("\xe6\xe6\x97\xa5x"));
}

TEST(tinyrl_utf8, steps_over_whole_characters)
{
    EXPECT_EQ(1U, next("ab"));
    EXPECT_EQ(2U, next("\xc3\xa9"));
    EXPECT_EQ(3U, next("\xe6\x97\xa5x"));
    EXPECT_EQ(4U, next("\xf0\x9f\x98\x80x"));
    EXPECT_EQ(1U, previous("ab"));
    EXPECT_EQ(2U, previous("a\xc3\xa9"));
    EXPECT_EQ(3U, previous("\xe6\x97\xa5"));
    EXPECT_EQ(4U, previous("ab\xf0\x9f\x98\x80"));
}

TEST(tinyrl_utf8, steps_over_broken_text_byte_by_byte)
{
    EXPECT_EQ(1U, next("\xe6\x97"));
    EXPECT_EQ(1U, next("\x97\xa5"));
    EXPECT_EQ(1U, next("\xf8\x80\x80\x80\x80"));
    EXPECT_EQ(1U, previous("\xe6\x97"));
    EXPECT_EQ(1U, previous("\xe6\x97\xa5\xa5"));
    EXPECT_EQ(1U, previous("\xa5"));
}

TEST(tinyrl_utf8, knows_a_character_by_its_bytes_not_by_its_code)
{
    EXPECT_EQ(2U, next("\xc1\x81"));
    EXPECT_EQ(3U, next("\xed\xa0\x80"));
    EXPECT_EQ(4U, next("\xf7\xbf\xbf\xbf"));
    EXPECT_EQ(3U, previous("\xed\xa0\x80"));
    EXPECT_EQ(2U, columns("\xe0\x81\x81\xc0\x80"));
    EXPECT_EQ(2U, columns("\xf0\x83\x82\x80")); // U+30C0, a byte too long
}
