// The error-option of a copy-config, which is dropped, and of an edit-config for servers that do
// not know it.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>

namespace
{

const std::string base = "urn:ietf:params:xml:ns:netconf:base:1.0";

std::string cleaned(const std::string &text, const adapter *adapter = &copy_option_adapter)
{
    byte_buffer request{};
    byte_buffer_append(&request, text.data(), text.size(), text.size());
    const message_head head = message_head_read(text);
    const adapter_verdict verdict = adapter->request(nullptr, &head, &request);
    EXPECT_EQ(verdict, text == byte_buffer_view(&request) ? adapter_leaves : adapter_rewrites);
    return {request.data.get(), request.size};
}

std::string rpc(const std::string &inner)
{
    return "<rpc xmlns =\"" + base + "\" message-id =\"7\">\r\n" + inner + "</rpc>\r\n";
}

std::string copy(const std::string &inner)
{
    return rpc("  <copy-config>\r\n" + inner + "  </copy-config>\r\n");
}

const std::string to_running = "<target><running/></target>";

} // namespace

TEST(gateway_error_option, drops_error_options)
{
    EXPECT_EQ(cleaned(rpc("  <copy-config>\r\n"
                          "    <target>\r\n"
                          "      <startup/>\r\n"
                          "    </target>\r\n"
                          "    <error-option>rollback-on-error</error-option>\r\n"
                          "    <source>\r\n"
                          "      <running/>\r\n"
                          "    </source>\r\n"
                          "  </copy-config>\r\n")),
              rpc("  <copy-config>\r\n"
                  "    <target>\r\n"
                  "      <startup/>\r\n"
                  "    </target>\r\n"
                  "    \r\n"
                  "    <source>\r\n"
                  "      <running/>\r\n"
                  "    </source>\r\n"
                  "  </copy-config>\r\n"));
    EXPECT_EQ(cleaned(copy("<error-option/>1<a/>2<error-option><b/></error-option >3"
                           "<error-option x='>'>y</error-option>4")),
              copy("1<a/>234"));
    EXPECT_EQ(cleaned("<n:rpc xmlns:n='" + base +
                      "'><n:copy-config><n:error-option>x</n:error-option><error-option>y"
                      "</error-option></n:copy-config></n:rpc>"),
              "<n:rpc xmlns:n='" + base +
                  "'><n:copy-config><error-option>y</error-option></n:copy-config></n:rpc>");
}

TEST(gateway_error_option, a_request_that_begins_as_the_last_one_may_go_on_in_another_way)
{
    const auto edit = [](const std::string &id, const std::string &option) {
        return "<rpc xmlns =\"" + base + "\" message-id =\"" + id +
               "\"><edit-config><target><running/></target>" + option + "<config><a x='1'/>" +
               "<error-option/></config></edit-config></rpc>";
    };
    const std::string option = "<error-option>rollback-on-error</error-option>";
    for (const char *id : {"7", "8", "9", "10", "1x", "x", "11", ""})
        EXPECT_EQ(cleaned(edit(id, option), &edit_option_adapter), edit(id, "")) << id;
    const std::string others[] = {"", "<error-optiom>rollback-on-error</error-optiom>",
                                  "<error-option xmlns='urn:a'>a</error-option>",
                                  "<!--" + option + "-->", option.substr(0, option.size() - 1)};
    for (const std::string &other : others) {
        cleaned(edit("7", option), &edit_option_adapter);
        EXPECT_EQ(cleaned(edit("7", other), &edit_option_adapter), edit("7", other));
        EXPECT_EQ(cleaned(edit("8", option), &edit_option_adapter), edit("8", ""));
    }
    EXPECT_EQ(cleaned(edit("7", option) + "<a", &edit_option_adapter), edit("7", "") + "<a")
        << "what comes after the configuration is not read";
}

TEST(gateway_error_option, leaves_everything_else_as_it_is)
{
    for (const std::string &text : {
             copy(to_running),
             copy("<target><error-option>x</error-option></target>"),
             copy("<!-- <error-option/> --><![CDATA[<error-option/>]]>"),
             copy("<error-option xmlns='urn:other'>x</error-option>"),
             copy("<error-option>x</error-option>") + "<!",
             rpc("<edit-config><error-option>x</error-option></edit-config>"),
             rpc("<copy-config xmlns='urn:other'><error-option/></copy-config>"),
             rpc("<x/><copy-config><error-option/></copy-config>"),
             std::string("<copy-config xmlns='" + base + "'><error-option/></copy-config>"),
             std::string("<rpc><copy-config><error-option/></copy-config></rpc>"),
             rpc("<copy-config><error-option>x</copy-config>"),
             rpc("<copy-config><error-option/><source>"),
             rpc("<copy-config><error-option"),
             std::string("nothing"),
         }) {
        const bool ends_behind = text.size() > 2 && text.substr(text.size() - 2) == "<!";
        if (ends_behind)
            EXPECT_NE(cleaned(text), text) << "what follows the copy-config does not matter";
        else
            EXPECT_EQ(cleaned(text), text);
    }
}

TEST(gateway_error_option, drops_that_of_an_edit_in_front_of_its_configuration)
{
    const std::string edit = "<edit-config><target><running/></target>";
    const std::string option = "<error-option>rollback-on-error</error-option>";
    const std::string config = "<config><a/></config></edit-config>";
    const std::string inner = "<config>" + option + "</config></edit-config>";
    EXPECT_EQ(cleaned(rpc(edit + option + config), &edit_option_adapter), rpc(edit + config));
    EXPECT_EQ(cleaned(rpc(edit + option + "<config><"), &edit_option_adapter),
              rpc(edit + "<config><"));
    for (const std::string &text : {rpc(edit + inner), copy(option)})
        EXPECT_EQ(cleaned(text, &edit_option_adapter), text);
    EXPECT_EQ(cleaned(rpc(edit + option + config)), rpc(edit + option + config));
}

TEST(gateway_error_option, the_log_says_what_may_come_of_it)
{
    server_hello hello{};
    EXPECT_TRUE(edit_option_adapter.applies(&hello));
    EXPECT_EQ(edit_option_adapter.notice(&hello), nullptr);
    hello.writable_running = true;
    EXPECT_STREQ(edit_option_adapter.notice(&hello),
                 "a commit that is refused may have been done in part (no rollback-on-error "
                 "capability)");
    hello.rollback_on_error = true;
    EXPECT_FALSE(edit_option_adapter.applies(&hello));
}
