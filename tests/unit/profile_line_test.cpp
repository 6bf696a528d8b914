// Lines of the profile, and the words that they are read back as.
#include "profile/profile_line.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

// The line; "(none)" when it would not be read back.
std::string line(const char *word, const std::string &path, const char *last = nullptr)
{
    const heap_text text = profile_line(word, path.c_str(), last);
    return text ? text.get() : "(none)";
}

TEST(profile_line, plain_words)
{
    EXPECT_EQ(line("set", "/m/c/x"), "set /m/c/x");
    EXPECT_EQ(line("set", "/m/c/x", "1"), "set /m/c/x 1");
    EXPECT_EQ(line("delete", "/"), "delete /");
    EXPECT_EQ(line("set", "/m/c/x", "%s%n"), "set /m/c/x %s%n");
    EXPECT_EQ(line("add", "/m/c/l", "l[k=v]"), "add /m/c/l l[k=v]");
}

TEST(profile_line, codes_are_characters_in_paths_and_stay_in_values)
{
    EXPECT_EQ(line("set", "/l[k=a\1b\2c,j='\3\x0b\x0c\x0d\x0e']", "'\3\x0b\x0c\x0d\x0e'"),
              "set /l[k=a/b:c,j=' []=,'] '\3\x0b\x0c\x0d\x0e'");
    EXPECT_EQ(line("add", "/l[k=\1]/i", "i[k='a\3b\1c']"), "add /l[k=/]/i i[k='a b/c']");
    // Codes that no character there would be given.
    EXPECT_EQ(line("set", "/m/c\1x"), "(none)");
    EXPECT_EQ(line("set", "/l[k=a\3b]"), "(none)");
    EXPECT_EQ(line("set", "/l[k=a\x0b"), "(none)");
    EXPECT_EQ(line("add", "/l", "l[k=a\3b]"), "(none)");
    EXPECT_EQ(line("set", "/x", "\1\2\3\x0b\x0c\x0d\x0e"), "set /x \1\2\3\x0b\x0c\x0d\x0e");
}

TEST(profile_line, a_quote_that_finds_no_other)
{
    EXPECT_EQ(line("set", "/l[k=it's]/v", "1"), "set /l[k=it's]/v 1");
    EXPECT_EQ(line("set", "/l[k=it's]/v", "\"x\""), "set /l[k=it's]/v \"x\"");
    EXPECT_EQ(line("set", "/l[k=it's]/v", "\"c\3d\""), "set /l[k=it's]/v \"c\3d\"");
    EXPECT_EQ(line("set", "/v", "'"), "set /v '");
    EXPECT_EQ(line("set", "/v", "\"'"), "set /v \"'");
}

TEST(profile_line, quotes_that_pair_across_words)
{
    EXPECT_EQ(line("set", "/l[k=it's]/v", "'c\3d'"), "(none)");
    EXPECT_EQ(line("set", "/l[k=it's]/v", "it's"), "(none)");
    EXPECT_EQ(line("set", "/l[k=\"]/v", "\""), "(none)");
    EXPECT_EQ(line("add", "/l[k=it's]/i", "i[k=it's]"), "(none)");
    // Within the path: its parts were masked one by one.
    EXPECT_EQ(line("set", "/l[k=it's]/i[k=it's]"), "(none)");
    // The quote before it hides one that would keep blanks together.
    EXPECT_EQ(line("set", "/l[k=it's]/i[k=\"a\3b\"]"), "(none)");
    EXPECT_EQ(line("add", "/l[k=it's]/i", "i[k=\"a\3b\"]"), "(none)");
}

TEST(profile_line, blanks)
{
    for (const char *blank : {" ", "\t", "\n"}) {
        EXPECT_EQ(line("set", std::string("/l[k=a") + blank + "b]"), "(none)");
        EXPECT_EQ(line("set", "/x", (std::string("a") + blank + "b").c_str()), "(none)");
        EXPECT_EQ(line("set", "/x", blank), "(none)");
    }
    EXPECT_EQ(line("set", "/x", ""), "(none)");
    EXPECT_EQ(line("set", "/x", "a\rb"), "set /x a\rb");
    EXPECT_EQ(line("set", "/x", "\v\f"), "set /x \v\f");
}

TEST(profile_words, are_masked_but_for_values)
{
    const profile_words set(" set /l[k=a/b,j='c d']/x  'e f:/' ");
    ASSERT_EQ(set.argc, 3);
    EXPECT_STREQ(set.argv[1], "/l[k=a\1b,j='c\3d']/x");
    EXPECT_STREQ(set.argv[2], "'e\3f:/'");
    const profile_words add("add /l[k=:]/i i[k=a/b]");
    ASSERT_EQ(add.argc, 3);
    EXPECT_STREQ(add.argv[1], "/l[k=\2]/i");
    EXPECT_STREQ(add.argv[2], "i[k=a\1b]");
    EXPECT_EQ(profile_words("").argc, 0);
    EXPECT_EQ(profile_words("add").argc, 1);
}

} // namespace
