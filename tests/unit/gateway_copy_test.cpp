/* A copy-config in other words. */
#include "device/gateway/copy_request.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace
{

const std::string base = "urn:ietf:params:xml:ns:netconf:base:1.0";

std::string cleaned(const std::string &text)
{
    byte_buffer request{};
    byte_buffer_append(&request, text.data(), text.size(), text.size());
    copy_request_clean(&request);
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

std::string from(const std::string &source)
{
    return copy(to_running + "<source>" + source + "</source>");
}

bool is_running_copy(const std::string &text)
{
    running_copy parts;
    return running_copy_read(text, &parts);
}

std::string data(const std::string &inner)
{
    return "<rpc-reply message-id=\"r\" xmlns=\"" + base + "\"><data>" + inner +
           "</data></rpc-reply>";
}

/* The edit, or "!" and what is in the way. */
std::string edit(const std::string &request, const std::string &running,
                 const std::string &startup = "")
{
    byte_buffer out{};
    const char *reason = running_copy_to_edit(request, startup, running, &out);
    return reason ? std::string("!") + reason : std::string(out.data.get(), out.size);
}

/* What the edit of a copy-config is made of. */
std::string edit_of(const std::string &config)
{
    return rpc("  <edit-config><target><running/></target>"
               "<default-operation>replace</default-operation>"
               "<error-option>rollback-on-error</error-option>" +
               config + "</edit-config>\r\n");
}

std::string removal(const std::string &name, const std::string &uri)
{
    return "<" + name + " xmlns=\"" + uri + "\" xmlns:nc=\"" + base +
           "\" nc:operation=\"remove\"/>";
}

} // namespace

TEST(gateway_copy, drops_error_options)
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

TEST(gateway_copy, leaves_everything_else_as_it_is)
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

TEST(gateway_copy, tells_a_copy_to_running)
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

TEST(gateway_copy, the_configuration_replaces_what_is_there)
{
    const std::string config = "\r\n<a xmlns=\"urn:1\"><x>&lt;</x></a>\r\n<b xmlns='urn:2'/>";
    EXPECT_EQ(edit(from("<config>" + config + "</config>"), data("")),
              edit_of("<config>" + config + "</config>"));
    EXPECT_EQ(
        edit(from("<config>" + config + "</config>"),
             data("<c xmlns='urn:1'>9</c><b xmlns='urn:2'><y/></b><a xmlns='urn:2'/>")),
        edit_of("<config>" + config + removal("a", "urn:2") + removal("c", "urn:1") + "</config>"));
    EXPECT_EQ(edit(from("<config/>"), data("<a xmlns='urn:1'/>")),
              edit_of("<config>" + removal("a", "urn:1") + "</config>"));
    EXPECT_EQ(edit(from("<config></config>"), data("<a xmlns=''/>")),
              edit_of("<config>" + removal("a", "") + "</config>"));
}

TEST(gateway_copy, prefixes_keep_their_meaning)
{
    EXPECT_EQ(edit("<n:rpc xmlns:n='" + base +
                       "' message-id='1' xmlns:o='urn:o'><n:copy-config xmlns:m='" + base +
                       "'><m:source><m:config xmlns='urn:d' x='1'><o:a/><b/></m:config></m:source>"
                       "<m:target><n:running/></m:target></n:copy-config><!-- end --></n:rpc>",
                   "<m:rpc-reply xmlns:m='" + base +
                       "' message-id='1' xmlns='urn:d'><m:data xmlns:q='urn:q'><b/><q:a/><c/>"
                       "</m:data></m:rpc-reply>"),
              "<n:rpc xmlns:n='" + base +
                  "' message-id='1' xmlns:o='urn:o'><n:edit-config xmlns:m='" + base +
                  "'><n:target><n:running/></n:target>"
                  "<n:default-operation>replace</n:default-operation>"
                  "<n:error-option>rollback-on-error</n:error-option>"
                  "<m:config xmlns='urn:d' x='1'><o:a/><b/>" +
                  removal("a", "urn:q") + removal("c", "urn:d") +
                  "</m:config></n:edit-config><!-- end --></n:rpc>");
}

TEST(gateway_copy, startup_replaces_what_is_there)
{
    EXPECT_EQ(edit(from("<startup/>"), data("<a xmlns='urn:1'/><b xmlns='urn:1'/>"),
                   data("<a xmlns='urn:1'><x/></a>")),
              edit_of("<config xmlns=\"" + base + "\"><a xmlns='urn:1'><x/></a>" +
                      removal("b", "urn:1") + "</config>"));
    EXPECT_EQ(edit(from("<startup/>"), data("<a xmlns='urn:1'/>"),
                   "<m:rpc-reply message-id='x' xmlns:m='" + base +
                       "' xmlns='urn:d' xmlns:q=\"urn:q\"><m:data xmlns='urn:e' last='now'>"
                       "<a/><q:b/></m:data></m:rpc-reply>"),
              edit_of("<m:config xmlns='urn:e' xmlns:m='" + base +
                      "' xmlns:q=\"urn:q\"><a/><q:b/>" + removal("a", "urn:1") + "</m:config>"));
    EXPECT_EQ(edit(from("<startup/>"), data("<a xmlns='urn:1'/>"),
                   "<rpc-reply xmlns='" + base + "'><data/></rpc-reply>"),
              edit_of("<config xmlns='" + base + "'>" + removal("a", "urn:1") + "</config>"));
}

TEST(gateway_copy, a_list_at_the_top_is_in_the_way)
{
    const std::string list = "<a xmlns='urn:1'>1</a><b xmlns='urn:1'/><a xmlns='urn:1'>2</a>";
    const std::string reason = "!a list stands at the top of the configuration";
    EXPECT_EQ(edit(from("<config>" + list + "</config>"), data("")), reason);
    EXPECT_EQ(edit(from("<config/>"), data(list)), reason);
    EXPECT_EQ(edit(from("<startup/>"), data(""), data(list)), reason);
    EXPECT_EQ(edit(from("<config/>"), data("<a xmlns='urn:1'/><a xmlns='urn:2'/>")),
              edit_of("<config>" + removal("a", "urn:1") + removal("a", "urn:2") + "</config>"));
    std::string many;
    for (int number = 0; number <= 4096; ++number)
        many += "<a" + std::to_string(number) + "/>";
    EXPECT_EQ(edit(from("<config>" + many + "</config>"), data("")),
              "!too many nodes stand at the top of the configuration");
}

TEST(gateway_copy, replies_that_are_of_no_use)
{
    const std::string request = from("<config/>");
    EXPECT_EQ(edit(request, ""), "!the server gives no data");
    EXPECT_EQ(edit(request, "<rpc-reply xmlns='" + base + "'><ok/></rpc-reply>"),
              "!the server gives no data");
    EXPECT_EQ(edit(request, "<rpc-reply xmlns='" + base + "'/>"), "!the server gives no data");
    EXPECT_EQ(edit(request, "<rpc-reply xmlns='" + base + "'><data><a></data></rpc-reply>"),
              "!the server's data cannot be followed");
    EXPECT_EQ(edit(request, data("<p:a/>")), "!the configuration cannot be followed");
    EXPECT_EQ(edit(from("<config><p:a/></config>"), data("")),
              "!the configuration cannot be followed");
    EXPECT_EQ(edit(from("<running/>"), data("")), "!the request cannot be followed");
}

TEST(gateway_copy, a_long_request_is_gone_through_once)
{
    std::string long_value(8 << 20, 'x');
    const std::string config = "<a xmlns='urn:1'><x>" + long_value + "</x></a>";
    EXPECT_TRUE(edit(from("<config>" + config + "</config>"), data("")) ==
                edit_of("<config>" + config + "</config>"));
    std::string leaves;
    for (int count = 0; count < 200000; ++count)
        leaves += "<x y='/'>1</x><z/>";
    const std::string tree = "<a xmlns='urn:1'>" + leaves + "</a>";
    EXPECT_TRUE(edit(from("<startup/>"), data(tree), data(tree)) ==
                edit_of("<config xmlns=\"" + base + "\">" + tree + "</config>"));
}
