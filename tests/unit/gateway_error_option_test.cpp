// The error-option of a copy-config, which is dropped.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string.h>
#include <string>

namespace
{

const std::string base = "urn:ietf:params:xml:ns:netconf:base:1.0";

std::string cleaned(const std::string &text)
{
    byte_buffer request{};
    byte_buffer_append(&request, text.data(), text.size(), text.size());
    const message_head head = message_head_read(text.data(), text.size());
    EXPECT_EQ(error_option_adapter.request(nullptr, &head, &request), adapter_leaves);
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
