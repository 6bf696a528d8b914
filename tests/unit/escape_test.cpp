// XML entities.
#include "base/escape.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>

#include "tests/support/captured_log.h"

namespace
{

std::string run(const std::string &source, int mode)
{
    // Exactly the room that the contract asks for.
    size_t size = (mode == escape_mode_escape ? 6 * source.size() : source.size()) + 1;
    heap_text destination(static_cast<char *>(malloc(size)));
    escape_text(destination.get(), source.data(), static_cast<long>(source.size()), mode);
    return destination.get();
}

TEST(escape_text, the_seven_characters)
{
    EXPECT_EQ(run("&<>\"\t\r\n", 1), "&amp;&lt;&gt;&quot;&#9;&#13;&#10;");
    EXPECT_EQ(run("it's a/b c\x01\x0b\xc3\xa4", 1), "it's a/b c\x01\x0b\xc3\xa4");
    EXPECT_EQ(run("a<b&&c", 1), "a&lt;b&amp;&amp;c");
    EXPECT_EQ(run("&amp;", 1), "&amp;amp;");
    EXPECT_EQ(run("", 1), "");
    EXPECT_EQ(run(std::string(1000, '"'), 1).size(), 6000U);
}

TEST(escape_text, the_seven_entities)
{
    EXPECT_EQ(run("&amp;&lt;&gt;&quot;&#9;&#13;&#10;", 0), "&<>\"\t\r\n");
    EXPECT_EQ(run("&apos;&#10&#x9;&AMP;&lt &", 0), "&apos;&#10&#x9;&AMP;&lt &");
    EXPECT_EQ(run("&amp;lt;", 0), "&lt;");
    EXPECT_EQ(run("&&lt;", 0), "&<");
    EXPECT_EQ(run("&am", 0), "&am");
    EXPECT_EQ(run("", 0), "");
}

TEST(escape_text, only_the_length_given_is_read)
{
    char destination[8];
    const char source[] = {'a', '&', 'l', 't'}; // no terminating zero
    escape_text(destination, source, 4, 0);
    EXPECT_STREQ(destination, "a&lt");
    escape_text(destination, source, 1, 1);
    EXPECT_STREQ(destination, "a");
    escape_text(destination, source, 0, 1);
    EXPECT_STREQ(destination, "");
}

TEST(escape_text, bad_arguments_are_logged)
{
    char destination[8] = "as it i";
    captured_log_take();
    const log_lines told = {{11, "[ERROR] handle special key error....\n"}};
    escape_text(nullptr, "x", 1, 1);
    EXPECT_EQ(captured_log_take(), told);
    escape_text(destination, nullptr, 1, 0);
    EXPECT_EQ(captured_log_take(), told);
    escape_text(destination, "x", -1, 1);
    EXPECT_EQ(captured_log_take(), told);
    EXPECT_STREQ(destination, "as it i");
    escape_text(destination, "x", 1, 1);
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST(text_append_escaped, after_what_is_there)
{
    text_buffer text;
    EXPECT_EQ(text_append_escaped(&text, ""), 0);
    EXPECT_EQ(text_append_escaped(&text, "a<\"'"), 0);
    EXPECT_STREQ(text.data.get(), "a&lt;&quot;'");
    EXPECT_EQ(text_append_escaped(&text, "&&plain\n"), 0);
    EXPECT_STREQ(text.data.get(), "a&lt;&quot;'&amp;&amp;plain&#10;");
}

TEST(unescape_one, tells_how_much_it_read)
{
    char character = 'x';
    EXPECT_EQ(unescape_one("&quot;q", 7, &character), 6U);
    EXPECT_EQ(character, '"');
    EXPECT_EQ(unescape_one("&quot;q", 5, &character), 1U);
    EXPECT_EQ(character, '&');
    EXPECT_EQ(unescape_one("q", 1, &character), 1U);
    EXPECT_EQ(character, 'q');
}

TEST(escape_text, what_is_escaped_comes_back)
{
    std::string all;
    for (int i = 1; i < 256; i++)
        all.push_back(static_cast<char>(i));
    EXPECT_EQ(run(run(all, 1), 0), all);
}

} // namespace
