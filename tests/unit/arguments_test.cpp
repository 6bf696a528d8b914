// The arguments become a line, and nothing of them stays where they were.
#include "shell/arguments.h"

#include <gtest/gtest.h>

namespace
{

// What take_arguments makes of the words, and what it leaves in their place.
struct taken {
    std::string line;
    std::string left;
};

taken take(std::string words, const std::vector<size_t> &starts)
{
    std::vector<char *> arguments;
    arguments.reserve(starts.size());
    for (const size_t start : starts)
        arguments.push_back(words.data() + start);
    const heap_text line = take_arguments(static_cast<int>(starts.size()), arguments.data());
    EXPECT_NE(line, nullptr);
    return {line ? line.get() : "", words};
}

TEST(arguments_test, words_are_joined_by_one_blank_and_overwritten)
{
    const taken result = take(std::string("set\0/m/c/x\0\0a  b", 16), {0, 4, 11, 12});
    EXPECT_EQ(result.line, "set /m/c/x  a  b");
    EXPECT_EQ(result.left, std::string(16, '\0'));
}

TEST(arguments_test, one_word_is_the_line)
{
    const taken result = take("pwd", {0});
    EXPECT_EQ(result.line, "pwd");
    EXPECT_EQ(result.left, std::string(3, '\0'));
}

TEST(arguments_test, no_words_are_no_line)
{
    char *none[] = {nullptr};
    EXPECT_EQ(take_arguments(0, none), nullptr);
    EXPECT_EQ(take_arguments(-1, none), nullptr);
}

} // namespace
