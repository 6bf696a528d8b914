// Which texts begin as one that is known.
#include "device/gateway/known_beginning.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

const std::string request = "<?xml version='1.0'?><!-- message-id='5' --><rpc a='message-id=\"5\"' "
                            "message-id =\"17\" b=\"5\"><get>";

known_beginning kept(const std::string &text)
{
    known_beginning known{};
    known_beginning_keep(&known, text);
    return known;
}

bool is_known(const known_beginning &known, const std::string &text)
{
    return known_beginning_is(&known, text);
}

std::string with_id(const std::string &id)
{
    std::string text = request;
    return text.replace(text.find("17"), 2, id);
}

} // namespace

TEST(gateway_known_beginning, what_follows_does_not_matter)
{
    const known_beginning known = kept(request);
    EXPECT_TRUE(is_known(known, request));
    EXPECT_TRUE(is_known(known, request + "<"));
    EXPECT_TRUE(is_known(known, request + std::string(5000, '\xFF')));
}

TEST(gateway_known_beginning, the_id_may_be_any_number_of_as_many_digits)
{
    const known_beginning known = kept(request);
    EXPECT_EQ(request.substr(known.id_from, known.id_size), "17");
    for (const char *id : {"00", "99", "40"})
        EXPECT_TRUE(is_known(known, with_id(id))) << id;
    for (const char *id : {"", "1", "170", "1x", "x7", "-1", " 1", "1\"", "&1", "/7", "1:"})
        EXPECT_FALSE(is_known(known, with_id(id))) << id;
}

TEST(gateway_known_beginning, every_other_byte_is_the_same)
{
    const known_beginning known = kept(request);
    for (size_t at = 0; at < request.size(); at++) {
        EXPECT_FALSE(is_known(known, request.substr(0, at))) << at;
        std::string other = request;
        other[at] = '\1';
        EXPECT_FALSE(is_known(known, other)) << at;
        EXPECT_FALSE(is_known(known, request.substr(0, at) + '\1' + request.substr(at))) << at;
    }
}

TEST(gateway_known_beginning, without_an_id)
{
    const known_beginning known = kept("<a x:message-id='5'><b/>");
    EXPECT_EQ(known.id_size, 0U);
    EXPECT_TRUE(is_known(known, "<a x:message-id='5'><b/></a>"));
    EXPECT_FALSE(is_known(known, "<a x:message-id='6'><b/></a>"));
    EXPECT_TRUE(is_known(kept("<a/>"), "<a/>"));
}

TEST(gateway_known_beginning, what_makes_nothing_known)
{
    EXPECT_FALSE(is_known(known_beginning{}, request));
    EXPECT_FALSE(is_known(known_beginning{}, ""));
    for (const char *id : {"", "x", "&#49;", "1 "})
        EXPECT_FALSE(is_known(kept(with_id(id)), with_id(id))) << id;
    const std::string longest = "<a message-id='1' b='" + std::string(488, 'x') + "'>";
    ASSERT_EQ(longest.size(), sizeof known_beginning{}.bytes - 1);
    EXPECT_TRUE(is_known(kept(longest + "<"), longest + "<"));
    EXPECT_FALSE(is_known(kept(longest + "<b"), longest + "<b"));
    known_beginning known = kept(request);
    known_beginning_keep(&known, longest + "<b");
    EXPECT_FALSE(is_known(known, request)) << "nothing is left of another one";
}
