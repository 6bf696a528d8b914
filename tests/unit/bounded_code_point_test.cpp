// Where characters of UTF-8 begin and end, and which of them are well-formed.
#include "code_point.h"

#include <gtest/gtest.h>
#include <string_view>

namespace
{

constexpr uint32_t none = 0xffffffff;

// The code of a text that is one character in the eyes of the reader; none otherwise.
uint32_t code_of(std::string_view text, size_t (*reader)(const char *, size_t, uint32_t *))
{
    uint32_t code = 0;
    return reader(text.data(), text.size(), &code) == text.size() ? code : none;
}

uint32_t scanned(std::string_view text)
{
    return code_of(text, code_point_scan);
}

uint32_t read(std::string_view text)
{
    return code_of(text, code_point_read);
}

} // namespace

TEST(code_point, following_bytes_begin_no_character)
{
    EXPECT_FALSE(code_point_continues('\x7f'));
    EXPECT_TRUE(code_point_continues('\x80'));
    EXPECT_TRUE(code_point_continues('\xbf'));
    EXPECT_FALSE(code_point_continues('\xc0'));
}

TEST(code_point, the_first_byte_tells_the_length)
{
    EXPECT_EQ(code_point_length('\0'), 1U);
    EXPECT_EQ(code_point_length('\x7f'), 1U);
    EXPECT_EQ(code_point_length('\x80'), 0U);
    EXPECT_EQ(code_point_length('\xbf'), 0U);
    EXPECT_EQ(code_point_length('\xc0'), 2U);
    EXPECT_EQ(code_point_length('\xdf'), 2U);
    EXPECT_EQ(code_point_length('\xe0'), 3U);
    EXPECT_EQ(code_point_length('\xef'), 3U);
    EXPECT_EQ(code_point_length('\xf0'), 4U);
    EXPECT_EQ(code_point_length('\xf7'), 4U);
    EXPECT_EQ(code_point_length('\xf8'), 0U);
    EXPECT_EQ(code_point_length('\xff'), 0U);
}

TEST(code_point, well_formed_characters_read_alike)
{
    const struct {
        std::string_view text;
        uint32_t code;
    } characters[] = {
        {"a", 0x61},
        {"\xc2\x80", 0x80},
        {"\xdf\xbf", 0x7ff},
        {"\xe0\xa0\x80", 0x800},
        {"\xed\x9f\xbf", 0xd7ff},
        {"\xee\x80\x80", 0xe000},
        {"\xef\xbf\xbf", 0xffff},
        {"\xf0\x90\x80\x80", 0x10000},
        {"\xf4\x8f\xbf\xbf", 0x10ffff},
    };
    for (const auto &character : characters) {
        EXPECT_EQ(scanned(character.text), character.code);
        EXPECT_EQ(read(character.text), character.code);
    }
}

TEST(code_point, a_character_that_is_not_well_formed_is_scanned_but_not_read)
{
    const struct {
        std::string_view text;
        uint32_t code;
    } characters[] = {
        // Longer than need be.
        {"\xc1\xbf", 0x7f},
        {"\xe0\x9f\xbf", 0x7ff},
        {"\xf0\x8f\xbf\xbf", 0xffff},
        // Surrogates.
        {"\xed\xa0\x80", 0xd800},
        {"\xed\xbf\xbf", 0xdfff},
        // Above the highest code.
        {"\xf4\x90\x80\x80", 0x110000},
        {"\xf7\xbf\xbf\xbf", 0x1fffff},
    };
    for (const auto &character : characters) {
        EXPECT_EQ(scanned(character.text), character.code);
        EXPECT_EQ(read(character.text), none);
    }
}

TEST(code_point, broken_characters_are_none)
{
    for (const std::string_view text :
         {"\x80", "\xff", "\xc3", "\xe6\x97", "\xe6\x97x", "\xf0\x9f\x98", "\xc3\xc3"}) {
        EXPECT_EQ(scanned(text), none);
        EXPECT_EQ(read(text), none);
    }
}
