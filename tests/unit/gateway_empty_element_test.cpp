// Elements of an edit-config in two tags, which become one.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

std::string joined(const std::string &text)
{
    byte_buffer request{};
    byte_buffer_append(&request, text.data(), text.size(), text.size());
    const message_head head = message_head_read(text);
    const adapter_verdict verdict = empty_element_adapter.request(nullptr, &head, &request);
    EXPECT_EQ(verdict, text == byte_buffer_view(&request) ? adapter_leaves : adapter_rewrites);
    return {request.data.get(), request.size};
}

std::string rpc(const std::string &inner)
{
    return "<rpc xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'>\r\n" + inner + "</rpc>\r\n";
}

std::string edit(const std::string &inner)
{
    return rpc("<edit-config>" + inner + "</edit-config>");
}

} // namespace

TEST(gateway_empty_element, two_tags_become_one)
{
    EXPECT_EQ(joined(edit("<a xc:operation=\"delete\"></a>")),
              edit("<a xc:operation=\"delete\"/>"));
    EXPECT_EQ(joined(edit("<a></a>\r\n<b>1</b><c><d x='>'></d ><e>2></e><f ></f></c>")),
              edit("<a/>\r\n<b>1</b><c><d x='>'/><e>2></e><f /></c>"));
    EXPECT_EQ(joined(edit("<a><b></b></a>")), edit("<a><b/></a>"));
    EXPECT_EQ(joined(edit("<a></a>") + "<a"), edit("<a/>") + "<a");
}

TEST(gateway_empty_element, everything_else_stays_as_it_is)
{
    for (const std::string &text : {
             edit("<a> </a><b>\r\n</b><c/><d x=''/><e>1</e><f><g/></f>"),
             edit("<a><!----></a><b><?x?></b><c><![CDATA[]]></c>"),
             edit("<a><![CDATA[<b></b>]]></a><!--<b></b>--><?b <b></b>?>"),
             edit("<a x='<b></b>"),
             edit("<!DOCTYPE a><b></b>"),
             rpc("<copy-config><a></a></copy-config>"),
             rpc("<edit-config xmlns='urn:other'><a></a></edit-config>"),
         })
        EXPECT_EQ(joined(text), text);
}
