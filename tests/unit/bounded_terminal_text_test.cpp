// Which characters of a text may go to a terminal as they are.
#include "terminal_text.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

std::string cleaned(std::string text)
{
    text.resize(terminal_text_clean(text.data(), text.size()));
    return text;
}

std::string utf8(uint32_t code)
{
    const auto tail = [code](unsigned shift) {
        return static_cast<char>(0x80 | (code >> shift & 0x3f));
    };
    if (code < 0x80)
        return {static_cast<char>(code)};
    if (code < 0x800)
        return {static_cast<char>(0xc0 | code >> 6), tail(0)};
    if (code < 0x10000)
        return {static_cast<char>(0xe0 | code >> 12), tail(6), tail(0)};
    return {static_cast<char>(0xf0 | code >> 18), tail(12), tail(6), tail(0)};
}

// Checks the range and that it ends there.
void expect_unsafe(uint32_t first, uint32_t last)
{
    for (uint32_t code = first; code <= last; code++)
        EXPECT_EQ(cleaned("a" + utf8(code) + "b"), "a?b") << std::hex << code;
    for (const uint32_t code : {first - 1, last + 1})
        EXPECT_EQ(cleaned("a" + utf8(code) + "b"), "a" + utf8(code) + "b") << std::hex << code;
}

} // namespace

TEST(terminal_text, ordinary_text_stays_as_it_is)
{
    const std::string text = " ~port[id=\"1\"]/\xc3\x80\xc2\xa0\xe2\x82\xac\xe6\xbc\xa2"
                             "\xed\x9f\xbf\xee\x80\x80\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf";
    EXPECT_EQ(cleaned(text), text);
    EXPECT_EQ(cleaned(""), "");
}

TEST(terminal_text, control_characters_are_unsafe)
{
    for (char code = 0; code < ' '; code++)
        EXPECT_EQ(cleaned(std::string("a") + code + "b"), "a?b") << static_cast<int>(code);
    expect_unsafe(0x7f, 0x9f);
}

TEST(terminal_text, what_turns_the_line_or_is_not_seen_is_unsafe)
{
    expect_unsafe(0xad, 0xad);
    expect_unsafe(0x34f, 0x34f);
    expect_unsafe(0x61c, 0x61c);
    expect_unsafe(0x115f, 0x1160);
    expect_unsafe(0x17b4, 0x17b5);
    expect_unsafe(0x180b, 0x180f);
    expect_unsafe(0x200b, 0x200f);
    expect_unsafe(0x2028, 0x202e);
    expect_unsafe(0x2060, 0x206f);
    expect_unsafe(0x3164, 0x3164);
    expect_unsafe(0xfe00, 0xfe0f);
    expect_unsafe(0xfeff, 0xfeff);
    expect_unsafe(0xffa0, 0xffa0);
    expect_unsafe(0xfff0, 0xfffb);
    expect_unsafe(0x1bca0, 0x1bca3);
    expect_unsafe(0x1d173, 0x1d17a);
    expect_unsafe(0xe0000, 0xe0fff);
}

TEST(terminal_text, each_byte_that_is_no_utf8_is_unsafe)
{
    EXPECT_EQ(cleaned("a\x9b"
                      "2Jb"),
              "a?2Jb");
    EXPECT_EQ(cleaned("\x80\xbf\xc0\xff"), "????");
    EXPECT_EQ(cleaned("\xc3"), "?");
    EXPECT_EQ(cleaned("\xe2\x82"), "??");
    EXPECT_EQ(cleaned("\xe2\x82z"), "??z");
    EXPECT_EQ(cleaned("\xc0\x9b\xc1\xbf"), "????");                // too long for what they say
    EXPECT_EQ(cleaned("\xe0\x82\x9b\xe0\x9f\xbf"), "??????");      // the same in three
    EXPECT_EQ(cleaned("\xf0\x80\x82\x9b"), "????");                // and in four bytes
    EXPECT_EQ(cleaned("\xed\xa0\x80\xed\xbf\xbf"), "??????");      // halves of a pair
    EXPECT_EQ(cleaned("\xf4\x90\x80\x80\xf8\x88\x80"), "???????"); // above all code points
}

TEST(terminal_text, the_next_character_stays_within_the_text)
{
    bool safe = true;
    EXPECT_EQ(terminal_text_next("\xc3\xa9", 1, &safe), 1U);
    EXPECT_FALSE(safe);
    EXPECT_EQ(terminal_text_next("\xc3\xa9", 2, &safe), 2U);
    EXPECT_TRUE(safe);
    EXPECT_EQ(terminal_text_next("\xc2\x9b", 2, &safe), 2U);
    EXPECT_FALSE(safe);
}
