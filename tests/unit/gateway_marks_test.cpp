// What makes a difference to the marks of an element, and the texts in them.
#include "device/gateway/content_marks.h"

#include <bit>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "device/gateway/configuration.h"

namespace
{

content_marks marks(const std::string &element)
{
    const std::string text = "<rpc-reply xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'>"
                             "<n:data xmlns='urn:1' xmlns:p='urn:p' xmlns:q='urn:q' xmlns:r='urn:q'"
                             " xmlns:n='urn:ietf:params:xml:ns:netconf:base:1.0'>" +
                             element + "</n:data></rpc-reply>";
    const auto config = std::make_unique<configuration>();
    EXPECT_EQ(configuration_read_reply(config.get(), text), nullptr) << text;
    EXPECT_EQ(configuration_count(config.get()), 1U) << text;
    return configuration_entries(config.get())->marks;
}

// The marks that are the same: "exact plain loose", as far as they are.
std::string same(const std::string &one, const std::string &other)
{
    const content_marks left = marks(one);
    const content_marks right = marks(other);
    std::string found;
    if (left.exact == right.exact)
        found += " exact";
    if (left.plain == right.plain)
        found += " plain";
    if (left.loose == right.loose)
        found += " loose";
    return found.empty() ? found : found.substr(1);
}

std::string same_values(const std::string &one, const std::string &other)
{
    return same("<a>" + one + "</a>", "<a>" + other + "</a>");
}

const std::string all = "exact plain loose";

} // namespace

TEST(gateway_marks, what_is_written_in_another_way_is_the_same)
{
    EXPECT_EQ(same("<a/>", "<a></a>"), all);
    EXPECT_EQ(same("<a/>", "<x:a xmlns:x='urn:1'/>"), all);
    EXPECT_EQ(same("<a b='1'/>", "<a/>"), all);
    EXPECT_EQ(same("<a><b/><c/></a>", "<a>\n<b/>  <!-- <d/> --><c/>\n</a>"), all);
    EXPECT_EQ(same_values("a&amp;b", "a&#x26;<!-- -->b"), all);
    EXPECT_EQ(same_values("a&lt;b", "<![CDATA[a<b]]>"), all);
    EXPECT_EQ(same_values("q:x", "r:x"), "exact loose") << "two prefixes of one namespace";
}

TEST(gateway_marks, what_a_server_writes_in_another_way)
{
    EXPECT_EQ(same("<a><b>1</b><c>2</c></a>", "<a><c>2</c><b>1</b></a>"), "plain loose");
    EXPECT_EQ(same_values("1", " 1\n"), "plain loose");
    EXPECT_EQ(same_values(" ", ""), "plain loose");
    EXPECT_EQ(same_values("x", "q:x"), "loose");
    EXPECT_EQ(same_values("one two", "two  one"), "loose");
    EXPECT_EQ(same_values("10", "+010"), "loose");
    EXPECT_EQ(same_values("-5", "-05"), "loose");
    EXPECT_EQ(same_values("0", "-0"), "loose");
    EXPECT_EQ(same_values("1.5", "1.500"), "loose");
    EXPECT_EQ(same_values("1", "1.000"), "loose");
    EXPECT_EQ(same_values("0.5", "00.50"), "loose");
}

TEST(gateway_marks, everything_else_differs)
{
    for (const auto &[one, other] : {
             std::pair("<a/>", "<b/>"),
             std::pair("<a/>", "<a xmlns='urn:2'/>"),
             std::pair("<a><b/></a>", "<a/>"),
             std::pair("<a><b/></a>", "<a><b/><b/></a>"),
             std::pair("<a><b/><c/></a>", "<a><b><c/></b></a>"),
             std::pair("<a><b>1</b><c>2</c></a>", "<a><b>2</b><c>1</c></a>"),
             std::pair("<a><b><c>1</c></b><b><d>1</d></b></a>",
                       "<a><b><c>1</c><d>1</d></b><b/></a>"),
         })
        EXPECT_EQ(same(one, other), "") << one << " " << other;
    for (const auto &[one, other] : {
             std::pair("1", "2"),
             std::pair("1", "-1"),
             std::pair("10", "1"),
             std::pair("0", ""),
             std::pair("1.0", "10"),
             std::pair("1.2", "1.20.0"),
             std::pair("+", ""),
             std::pair("a", "A"),
             std::pair("ab", "a b"),
             std::pair("a a", "a"),
             std::pair("q:x", "q:y"),
             std::pair("u:x", "x"),
             std::pair("u:x", "v:x"),
         })
        EXPECT_EQ(same_values(one, other), "") << one << " " << other;
    EXPECT_EQ(same_values("p:x", "q:x"), "loose") << "a name's module is not told from its prefix";
}

// They have one sum by the hash of which the marks are made, with its usual numbers.
TEST(gateway_marks, values_that_were_worked_out_to_have_one_mark)
{
    EXPECT_EQ(same_values("8yn0iYCKYHlIj4-BwPqk", "GReLUrM4wMqfg9yzV3KQ"), "");
}

// Each letter says whether the number of its place has an odd number of bits.
TEST(gateway_marks, values_that_would_have_one_mark_under_any_key)
{
    std::string one;
    std::string other;
    for (unsigned place = 0; place < 4096; place++) {
        one += std::popcount(place) % 2 != 0 ? 'a' : 'b';
        other += std::popcount(place) % 2 != 0 ? 'b' : 'a';
    }
    EXPECT_EQ(same_values(one, other), "");
}

TEST(gateway_marks, long_words)
{
    const std::string word(256, 'x');
    EXPECT_EQ(same_values(word + "1", word + "2"), "");
    EXPECT_EQ(same_values(word + "1 a", "a " + word + "1"), "loose");
    EXPECT_EQ(same_values(word, "q:" + word), "");
    EXPECT_EQ(same_values(word.substr(2), "q:" + word.substr(2)), "loose");
}

TEST(gateway_marks, what_else_is_told)
{
    EXPECT_TRUE(marks("<a><b/></a>").has_children);
    EXPECT_FALSE(marks("<a> </a>").has_children);
    EXPECT_TRUE(marks("<a x='1' p:operation='x'/>").has_operation);
    EXPECT_TRUE(marks("<a><b/><b><c p:operation='x'/></b><b/></a>").has_operation);
    EXPECT_FALSE(marks("<a operation='x' p:operations='y'><b/></a>").has_operation);
}

TEST(gateway_marks, texts_that_stand_for_others)
{
    EXPECT_EQ(same_values("a&lt;b&gt;c&amp;d&quot;e&apos;f", "<![CDATA[a<b>c&d\"e'f]]>"), all);
    EXPECT_EQ(
        same_values("&#65;&#x42;&#xe9;&#x20aC;&#x1F600;", "AB\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"),
        all);
    EXPECT_EQ(same_values("<![CDATA[&lt;]]]]>x<![CDATA[]]>y", "&amp;lt;]]xy"), all);
    EXPECT_EQ(same_values("a<!-- & -->b<?c e?>d", "abd"), all);
    EXPECT_EQ(same_values("&#32;1&#10;", "1"), "plain loose") << "blanks, however they are written";
}
