// The two sets of codes, and quotes.
#include "schema/masking.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

template <class function>
std::string changed(function change, const std::string &text)
{
    std::string copy = text;
    change(copy.data());
    return copy;
}

std::string quoted(const char *value)
{
    return quote_value(value).get();
}

std::string plain(const char *masked)
{
    return changed(make_plain, masked).c_str();
}

TEST(mask_keys, slash_and_colon_from_the_equals_sign_on)
{
    EXPECT_EQ(changed(mask_keys, "/m/l[k=a/b:c]/x"), "/m/l[k=a\x01"
                                                     "b\x02"
                                                     "c]/x");
    EXPECT_EQ(changed(mask_keys, "/m/l[k=/,j=:]"), "/m/l[k=\x01,j=\x02]");
    EXPECT_EQ(changed(mask_keys, "/m/l[o:k=a]/o:x"), "/m/l[o:k=a]/o:x");
    EXPECT_EQ(changed(mask_keys, "/m/a:b/c"), "/m/a:b/c");
    EXPECT_EQ(changed(mask_keys, "/m/l[k=a/b]/n[j=c/d]"), "/m/l[k=a\x01"
                                                          "b]/n[j=c\x01"
                                                          "d]");
    EXPECT_EQ(changed(mask_keys, ""), "");
}

TEST(mask_keys, a_second_equals_sign_is_part_of_the_value)
{
    EXPECT_EQ(changed(mask_keys, "l[k=a=b/c]"), "l[k=a=b\x01"
                                                "c]");
}

TEST(mask_keys, twice_is_once)
{
    std::string once = changed(mask_keys, "/m/l[k=a/b:c]");
    EXPECT_EQ(changed(mask_keys, once), once);
}

TEST(mask_path, both_sets)
{
    EXPECT_EQ(changed(mask_path, "/m/l[k='a b/c,d=e:f[g]']/x"), "/m/l[k='a\x03"
                                                                "b\x01"
                                                                "c\x0e"
                                                                "d\x0d"
                                                                "e\x02"
                                                                "f\x0bg\x0c']/x");
    std::string once = changed(mask_path, "/m/l[k=\"1/2 3\",j='4:5']");
    EXPECT_EQ(changed(mask_path, once), once);
    EXPECT_EQ(changed(mask_path, "/m/l[k='a/b"), "/m/l[k='a/b"); // no end of the value
}

TEST(unmask_keys, the_bytes_1_and_2)
{
    EXPECT_EQ(changed(unmask_keys, "a\x01"
                                   "b\x02"
                                   "c\x03\x0b"),
              "a/b:c\x03\x0b");
}

TEST(unmask_all, every_code)
{
    EXPECT_EQ(changed(unmask_all, "\x01\x02\x03\x0b\x0c\x0d\x0ez\x04"), "/: []=,z\x04");
}

TEST(masked_copy, leaves_the_text_alone)
{
    const char text[] = "l[k='a b/c']";
    EXPECT_STREQ(masked_copy(text).get(), "l[k='a\x03"
                                          "b\x01"
                                          "c']");
    EXPECT_STREQ(unmasked_copy("l[k='a\x03"
                               "b\x01"
                               "c']")
                     .get(),
                 text);
    EXPECT_EQ(masked_copy(nullptr), nullptr);
    EXPECT_EQ(unmasked_copy(nullptr), nullptr);
    EXPECT_STREQ(masked_copy("").get(), "");
}

TEST(quote_value, bare_unless_it_would_cut_a_path)
{
    EXPECT_EQ(quoted("abc"), "abc");
    EXPECT_EQ(quoted(""), "");
    EXPECT_EQ(quoted("it's"), "it's");
    EXPECT_EQ(quoted("say\"x\""), "say\"x\"");
}

TEST(quote_value, quoted_and_masked)
{
    EXPECT_EQ(quoted("a b"), "\"a\x03"
                             "b\"");
    EXPECT_EQ(quoted("a=b"), "\"a\x0d"
                             "b\"");
    EXPECT_EQ(quoted("a,b"), "\"a\x0e"
                             "b\"");
    EXPECT_EQ(quoted("[a]"), "\"\x0b"
                             "a\x0c\"");
    EXPECT_EQ(quoted("a \"b\""), "'a\x03\"b\"'");
    EXPECT_EQ(quoted("it's a"), "\"it's\x03"
                                "a\"");
}

TEST(quote_value, slash_and_colon_are_masked)
{
    EXPECT_EQ(quoted("1/0:2"), "1\x01"
                               "0\x02"
                               "2");
    EXPECT_EQ(quoted("a / b"), "\"a\x03\x01\x03"
                               "b\"");
}

TEST(quote_value, with_both_kinds_of_quotes_everything_is_masked)
{
    EXPECT_EQ(quoted("it's \"a\" [b]"), "'it's\x03\"a\"\x03\x0b"
                                        "b\x0c'");
}

TEST(mask_quoted_blanks, inside_quotes_only)
{
    EXPECT_EQ(changed(mask_quoted_blanks, "a b 'c d' \"e f\" g h"), "a b 'c\x03"
                                                                    "d' \"e\x03"
                                                                    "f\" g h");
    EXPECT_EQ(changed(mask_quoted_blanks, "a 'b \"c d"), "a 'b \"c d");
    EXPECT_EQ(changed(mask_quoted_blanks, "'a \" b' \"c ' d\""), "'a\x03\"\x03"
                                                                 "b' \"c\x03'\x03"
                                                                 "d\"");
    EXPECT_EQ(changed(mask_quoted_blanks, "'[]=,'"), "'[]=,'");
    EXPECT_EQ(changed(mask_quoted_blanks, ""), "");
}

TEST(make_plain, quotes_go_where_they_guard_something)
{
    EXPECT_EQ(plain("'a b'"), "a b");
    EXPECT_EQ(plain("\"a=b\""), "a=b");
    EXPECT_EQ(plain("x'[y]'z\",\""), "x[y]z,");
    EXPECT_EQ(plain("'abc'"), "'abc'");
    EXPECT_EQ(plain("\"\""), "\"\"");
    EXPECT_EQ(plain("'a' 'b c'"), "'a' b c");
    EXPECT_EQ(plain("a b"), "a b");
    EXPECT_EQ(plain(""), "");
}

TEST(make_plain, the_other_kind_inside_stays)
{
    EXPECT_EQ(plain("\"it's a\""), "it's a");
    EXPECT_EQ(plain("'say \"x y\"'"), "say \"x y\"");
}

TEST(make_plain, an_unclosed_quote_ends_the_scan)
{
    EXPECT_EQ(plain("'a b"), "'a b");
    EXPECT_EQ(plain("'a b' \"c d 'e f'"), "a b \"c d 'e f'");
}

TEST(make_plain, nothing_stays_after_the_shorter_text)
{
    const std::string text = "\"a b\"'c d'\"e f\"";
    EXPECT_EQ(changed(make_plain, text), "a bc de f" + std::string(text.size() - 9, '\0'));
}

TEST(make_plain, codes_back_and_quotes_away)
{
    EXPECT_EQ(plain("\"a\x03"
                    "b\""),
              "a b");
    EXPECT_EQ(plain("1\x01"
                    "2\x02"
                    "3"),
              "1/2:3");
    EXPECT_EQ(plain("'abc'"), "'abc'");
    EXPECT_EQ(plain("'a\x01"
                    "b'"),
              "'a/b'");
    EXPECT_EQ(plain("x"), "x");
}

} // namespace
