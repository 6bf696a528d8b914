// The last line of what a command says.
#include "device/gateway/transport.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

std::string last_of(const std::string &text, size_t piece)
{
    last_words words{};
    for (size_t at = 0; at < text.size(); at += piece)
        last_words_add(&words, std::string_view(text).substr(at, piece));
    EXPECT_EQ(strlen(words.text), words.size);
    return words.text;
}

} // namespace

TEST(gateway_last_words, the_last_line_that_says_something)
{
    const std::string long_line(500, 'x');
    const struct {
        std::string said;
        std::string last;
    } cases[] = {
        {"", ""},
        {"one", "one"},
        {"one\n", "one"},
        {"one\r\ntwo", "two"},
        {"one\ntwo\n\r\n", "two"},
        {"\n\none\n", "one"},
        {long_line, long_line.substr(0, 199)},
        {long_line + "\none", "one"},
    };
    for (const auto &each : cases) {
        for (const size_t piece : {1, 2, 1000})
            EXPECT_EQ(last_of(each.said, piece), each.last);
    }
}
