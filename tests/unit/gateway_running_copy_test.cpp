// Which requests are copies to running that can be told as edits.
#include "device/gateway/running_copy.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

const std::string base = "urn:ietf:params:xml:ns:netconf:base:1.0";

std::string rpc(const std::string &inner)
{
    return "<rpc xmlns =\"" + base + "\" message-id =\"7\">\r\n" + inner + "</rpc>\r\n";
}

std::string copy(const std::string &inner)
{
    return rpc("  <copy-config>\r\n" + inner + "  </copy-config>\r\n");
}

const std::string to_running = "<target><running/></target>";

std::string from(const std::string &source)
{
    return copy(to_running + "<source>" + source + "</source>");
}

bool is_running_copy(const std::string &text)
{
    running_copy parts;
    return running_copy_read(text, &parts);
}

} // namespace

TEST(gateway_running_copy, tells_a_copy_to_running)
{
    EXPECT_TRUE(is_running_copy(from("<config/>")));
    EXPECT_TRUE(is_running_copy(from("<config><a/></config>")));
    EXPECT_TRUE(is_running_copy(from("<startup/>")));
    EXPECT_TRUE(is_running_copy(from("<startup></startup>")));
    EXPECT_TRUE(is_running_copy(copy("<source><config/></source>" + to_running)));
    EXPECT_TRUE(is_running_copy("<n:rpc xmlns:n='" + base +
                                "'><n:copy-config><n:target><n:running/></n:target><n:source>"
                                "<n:config/></n:source></n:copy-config></n:rpc>"));
    for (const std::string &text : {
             copy("<target><startup/></target><source><config/></source>"),
             from("<running/>"),
             from("<candidate/>"),
             from("<url>file:x</url>"),
             from(""),
             from("<config/><startup/>"),
             from("<config xmlns='urn:other'/>"),
             copy(to_running + "<source x='1'><config/></source>"),
             copy(to_running + to_running + "<source><config/></source>"),
             copy(to_running + "<source><config/></source><source><config/></source>"),
             copy(to_running + "<source><config/></source><with-defaults/>"),
             copy("<target><running/><startup/></target><source><config/></source>"),
             copy("<target/><source><config/></source>"),
             copy("<source><config/></source>"),
             copy(to_running),
             copy(""),
             rpc("<copy-config/>"),
             rpc("<edit-config>" + to_running + "<source><config/></source></edit-config>"),
             rpc("<copy-config>" + to_running + "<source><config><a></config></source>"),
         })
        EXPECT_FALSE(is_running_copy(text)) << text;
}
