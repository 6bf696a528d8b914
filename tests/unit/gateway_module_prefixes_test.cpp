// Names of modules in the values of an edit-config, which are declared.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

const std::string base = "urn:ietf:params:xml:ns:netconf:base:1.0";

server_hello hello_of(const std::string &capabilities)
{
    const std::string text = "<hello xmlns='" + base + "'><capabilities><capability>" + base +
                             "</capability><capability>urn:ietf:params:netconf:base:1.1"
                             "</capability>" +
                             capabilities + "</capabilities><session-id>1</session-id></hello>";
    server_hello hello{};
    EXPECT_STREQ(server_hello_read(text, &hello), nullptr);
    return hello;
}

std::string module(const std::string &name, const std::string &uri)
{
    return "<capability>" + uri + "?revision=2020-01-01&amp;module=" + name +
           "&amp;features=a</capability>";
}

std::string declared(const std::string &request)
{
    const server_hello hello = hello_of(module("b-mod", "urn:b?x") + module("a.mod", "urn:&amp;a") +
                                        module("xmlish", "urn:x") + module("1st", "urn:1"));
    EXPECT_TRUE(module_prefixes_adapter.applies(&hello));
    byte_buffer buffer{};
    byte_buffer_append(&buffer, request.data(), request.size(), request.size());
    const message_head head = message_head_read(request);
    exchange taken{};
    taken.server = &hello;
    const adapter_verdict verdict = module_prefixes_adapter.request(&taken, &head, &buffer);
    EXPECT_EQ(verdict, request == byte_buffer_view(&buffer) ? adapter_leaves : adapter_rewrites);
    return {buffer.data.get(), buffer.size};
}

std::string rpc(const std::string &attributes, const std::string &content)
{
    return "<rpc xmlns='" + base + "'>\r\n<edit-config><target><running/></target>\r\n<config" +
           attributes + ">" + content + "</config></edit-config></rpc>";
}

const std::string a_space = " xmlns:a.mod=\"urn:&amp;a\"";
const std::string b_space = " xmlns:b-mod=\"urn:b\"";

} // namespace

TEST(gateway_module_prefixes, are_declared_around_the_configuration)
{
    const std::string xc = " xmlns:xc='" + base + "'";
    EXPECT_EQ(declared(rpc(xc, "<type>a.mod:red</type>")),
              rpc(xc + a_space, "<type>a.mod:red</type>"));
    const std::string both = "<x>/b-mod:l[b-mod:k='1']/a.mod:x</x><y><![CDATA[a.mod:b]]></y>";
    EXPECT_EQ(declared(rpc("", both)), rpc(b_space + a_space, both));
    EXPECT_EQ(
        declared("<n:rpc xmlns:n='" + base +
                 "'><n:edit-config><n:config><a>a.mod:r</a></n:config></n:edit-config></n:rpc>"),
        "<n:rpc xmlns:n='" + base + "'><n:edit-config><n:config" + a_space +
            "><a>a.mod:r</a></n:config></n:edit-config></n:rpc>");
}

TEST(gateway_module_prefixes, everything_else_stays_as_it_is)
{
    const std::string own = "<x>a.mod:red</x>";
    for (const std::string &text : {
             rpc("", "<a.mod:x xmlns:a.mod='urn:a'/><!--a.mod:x--><?a.mod:y?><z a='a.mod:w'/>"),
             rpc("", "<x>a.mod</x><y>aa.mod:1</y><z>other:1</z><w>xmlish:1 1st:2 ::</w>"),
             rpc(" xmlns:a.mod='urn:other'", own),
             "<rpc xmlns='" + base + "' xmlns:a.mod='urn:other'><edit-config><config>" + own +
                 "</config></edit-config></rpc>",
             "<rpc xmlns='" + base + "'><copy-config><config>" + own +
                 "</config></copy-config></rpc>",
             "<rpc xmlns='" + base + "'><edit-config><config/><x><config>" + own +
                 "</config></x></edit-config></rpc>",
             "<rpc xmlns='" + base + "'><edit-config><config",
         })
        EXPECT_EQ(declared(text), text);
}

TEST(gateway_module_prefixes, a_hello_without_modules_is_none_of_its_business)
{
    const server_hello hello = hello_of("<capability>urn:a?revision=1</capability>");
    EXPECT_FALSE(module_prefixes_adapter.applies(&hello));
}

TEST(gateway_module_prefixes, a_name_that_is_cut_is_no_name)
{
    const std::string end(600, 'x');
    const server_hello hello =
        hello_of("<capability>urn:a?revision=1&amp;module=" + end + "</capability>");
    EXPECT_FALSE(module_prefixes_adapter.applies(&hello));
}

TEST(gateway_module_prefixes, many_modules_are_found)
{
    std::string modules;
    for (int number = 999; number >= 0; number--)
        modules += module("m" + std::to_string(number), "urn:" + std::to_string(number));
    const server_hello hello = hello_of(modules);
    for (int number = 0; number < 1000; number++)
        EXPECT_EQ(server_modules_find(&hello.modules, "m" + std::to_string(number)),
                  "urn:" + std::to_string(number));
    EXPECT_EQ(server_modules_find(&hello.modules, "m"), "");
    EXPECT_EQ(server_modules_find(&hello.modules, "z"), "");
}

TEST(gateway_module_prefixes, a_list_without_end_takes_no_more_memory_than_a_hello)
{
    server_modules modules{};
    const std::string uri(1000, 'u');
    size_t added = 0;
    while (added < 2 * hello_size_limit && server_modules_add(&modules, "m", uri) == 0)
        added += uri.size();
    EXPECT_LE(added, hello_size_limit);
    EXPECT_EQ(server_modules_find(&modules, "m"), uri) << "the others are known";
}
