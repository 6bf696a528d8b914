// Replies whose data element is written in another way than "<data>".
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

const std::string base = "urn:ietf:params:xml:ns:netconf:base:1.0";

std::string passed(const std::string &text)
{
    byte_buffer message{};
    byte_buffer_append(&message, text.data(), text.size(), text.size());
    const message_head head = message_head_read(text);
    const bool written = plain_data_adapter.message(nullptr, &head, &message);
    EXPECT_EQ(written, text != byte_buffer_view(&message));
    return {message.data.get(), message.size};
}

std::string reply(const std::string &inner, const std::string &attributes = "")
{
    return "<rpc-reply message-id='1' xmlns=\"" + base + "\"" + attributes + ">" + inner +
           "</rpc-reply>";
}

std::string plain(const std::string &inner, const std::string &attributes)
{
    return "<rpc-reply xmlns=\"" + base + "\"" + attributes + "><data>" + inner +
           "</data></rpc-reply>";
}

} // namespace

TEST(gateway_plain_data, data_in_one_tag_get_two)
{
    EXPECT_EQ(passed(reply("<data/>")), reply("<data></data>"));
    EXPECT_EQ(passed(reply("<data />")), reply("<data></data>"));
    EXPECT_EQ(passed(reply("<data ></data>")), reply("<data></data>"));
    EXPECT_EQ(passed(reply("<!--a--><data/><?b?>") + "<!--c-->"),
              reply("<!--a--><data></data><?b?>"));
}

TEST(gateway_plain_data, a_prefix_is_dropped)
{
    const std::string space = " xmlns:ns0='" + base + "'";
    EXPECT_EQ(
        passed("<ns0:rpc-reply" + space +
               " message-id=\"1\"><ns0:data><a xmlns='urn:a'>1</a><!--x--><b xmlns='urn:b'/>"
               "</ns0:data></ns0:rpc-reply>"),
        plain("<a xmlns='urn:a'>1</a><!--x--><b xmlns='urn:b'/>", space + " message-id=\"1\""));
    EXPECT_EQ(passed("<ns0:rpc-reply" + space + "><ns0:data/></ns0:rpc-reply>"), plain("", space));
    EXPECT_EQ(passed(reply("<n:data xmlns:n=\"" + base + "\"><a xmlns='urn:a'/></n:data>")),
              reply("<data><a xmlns='urn:a'/></data>"));
}

TEST(gateway_plain_data, what_was_inherited_is_declared_where_it_is_needed)
{
    const std::string root = " xmlns:n='" + base + "' xmlns:a='urn:&amp;a' xmlns:b='urn:b'";
    EXPECT_EQ(passed("<n:rpc-reply" + root +
                     " xmlns='urn:d'><n:data><a:x><y>b:1</y></a:x><z/><b:w xmlns:b='urn:c'/>"
                     "<v xmlns=''>ab</v></n:data></n:rpc-reply>"),
              plain("<a:x xmlns:a='urn:&amp;a' xmlns:b='urn:b' xmlns='urn:d'><y>b:1</y></a:x>"
                    "<z xmlns='urn:d'/><b:w xmlns='urn:d' xmlns:b='urn:c'/><v xmlns=''>ab</v>",
                    root));
    EXPECT_EQ(passed(reply("<n:data xmlns:n='" + base +
                               "' xmlns='urn:x' xmlns:a=\"urn:2\"><a:y/></n:data>",
                           " xmlns:a='urn:1'")),
              reply("<data><a:y xmlns='urn:x' xmlns:a=\"urn:2\"/></data>", " xmlns:a='urn:1'"));
}

// Which would take minutes if each child looked through them all.
TEST(gateway_plain_data, attributes_are_gone_through_once)
{
    std::string attributes;
    for (int number = 100; number < 600; number++)
        attributes += " a" + std::to_string(number) + "=''";
    std::string children;
    for (int count = 0; count < 100000; count++)
        children += "<x/>";
    EXPECT_EQ(passed(reply("<data" + attributes + ">" + children + "</data>", attributes)),
              reply("<data>" + children + "</data>", attributes));
}

TEST(gateway_plain_data, everything_else_stays_as_it_is)
{
    for (const std::string &text : {
             reply("<data><a xmlns='urn:a'/></data>", " xmlns:a='urn:a'"),
             reply("<data></data>"),
             reply("<ok/>"),
             "<n:rpc-reply xmlns:n='" + base + "'>text</n:rpc-reply>",
             "<n:rpc-reply xmlns:n='" + base + "'/>",
             reply("<data xmlns='urn:other'/>"),
             reply("<x xmlns='urn:other'><data/></x>"),
             reply("<rpc-error/><data/>"),
             reply("<data/><data/>"),
             reply("<data/>") + "<",
             reply("<n:data/>"),
             reply("<n:data xmlns:n='" + base + "'><a:y/></n:data>"),
             "<rpc><data xmlns='" + base + "'/></rpc>",
             std::string("nothing"),
         })
        EXPECT_EQ(passed(text), text);
}
