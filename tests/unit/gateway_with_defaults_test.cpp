// Requests that ask for defaults in the way that the operator wants.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "support/exchange_bench.h"

namespace
{

const std::string common =
    "<capability>urn:ietf:params:netconf:capability:writable-running:1.0</capability>"
    "<capability>urn:ietf:params:netconf:capability:rollback-on-error:1.0</capability>"
    "<capability>urn:ietf:params:netconf:capability:startup:1.0</capability>";
const std::string lacking = "tarnd-gateway: shell 1: the server does not report defaults in the "
                            "way that is wanted (--with-defaults)\n";

std::string knows(const std::string &parameters)
{
    return common + "<capability>urn:ietf:params:netconf:capability:with-defaults:1.0?" +
           parameters + "</capability>";
}

std::string element(const std::string &mode)
{
    return "<with-defaults xmlns=\"urn:ietf:params:xml:ns:yang:ietf-netconf-with-defaults\">" +
           mode + "</with-defaults>";
}

server_extras in(const std::string &mode)
{
    server_extras extras{};
    extras.defaults = defaults_mode_find(mode);
    return extras;
}

const std::string trims = knows("basic-mode=trim");

void expect_sent(const std::string &request, const std::string &sent)
{
    exchange_bench test(trims, in("trim"));
    EXPECT_EQ(test.ask(request), chunked(sent));
}

std::string copy(const std::string &target, const std::string &source)
{
    return "<copy-config><target>" + target + "</target><source>" + source +
           "</source></copy-config>";
}

} // namespace

TEST(gateway_with_defaults, what_reads_data_asks_for_them)
{
    const std::string filter = "<filter type=\"subtree\"><get/></filter>";
    expect_sent(rpc("5", "<get/>"), rpc("5", "<get>" + element("trim") + "</get>"));
    expect_sent(rpc("5", "<get >" + filter + "</get >"),
                rpc("5", "<get >" + filter + element("trim") + "</get >"));
    const std::string start = "<get-config>\r\n<source><running/></source>\r\n";
    expect_sent(rpc("5", start + "</get-config>\r\n"),
                rpc("5", start + element("trim") + "</get-config>\r\n"));
    const std::string save = copy("<startup/>", "<running/>");
    const std::string end = "</copy-config>";
    expect_sent(rpc("5", save),
                rpc("5", save.substr(0, save.size() - end.size()) + element("trim") + end));
}

TEST(gateway_with_defaults, the_operation_may_have_a_prefix)
{
    const std::string head = "<n:rpc xmlns:n='" + base + "' message-id='5'><n:get";
    expect_sent(head + "/></n:rpc>", head + ">" + element("trim") + "</n:get></n:rpc>");
    expect_sent(head + "></n:get></n:rpc>", head + ">" + element("trim") + "</n:get></n:rpc>");
}

TEST(gateway_with_defaults, other_requests_pass)
{
    for (const std::string &request : {
             rpc("5", "<get>" + element("report-all") + "</get>"),
             rpc("5", "<edit-config><target><running/></target></edit-config>"),
             rpc("5", copy("<startup/>", "<config><a xmlns=\"urn:a\"/></config>")),
             rpc("5", copy("<running/>", "<startup/>")),
             rpc("5", "<get><filter></get>"),
         })
        expect_sent(request, request);
}

TEST(gateway_with_defaults, only_those_that_the_server_knows)
{
    const struct {
        std::string capabilities;
        std::string mode;
        bool known;
    } cases[] = {
        {knows("basic-mode=explicit"), "explicit", true},
        {knows("basic-mode=explicit&amp;also-supported=report-all,report-all-tagged"), "report-all",
         true},
        {knows("also-supported=report-all,report-all-tagged&amp;basic-mode=explicit"),
         "report-all-tagged", true},
        {knows("basic-mode=explicit&amp;also-supported=report-all-tagged,,trim"), "trim", true},
        {knows("basic-mode=explicit&amp;also-supported=report-all-tagged"), "report-all", false},
        {knows("basic-mode="), "report-all", false},
        {common, "explicit", false},
    };
    for (const auto &each : cases) {
        exchange_bench test(each.capabilities, in(each.mode));
        const std::string filled = "<get>" + element(each.mode) + "</get>";
        EXPECT_EQ(test.ask(rpc("5", "<get/>")), chunked(rpc("5", each.known ? filled : "<get/>")));
    }
}

TEST(gateway_with_defaults, what_the_server_does_not_know_is_logged)
{
    for (const bool known : {true, false}) {
        relay_bench test(false);
        test.session->extras = in(known ? "trim" : "explicit");
        testing::internal::CaptureStderr();
        EXPECT_EQ(test.to_server(), gateway_hello);
        EXPECT_EQ(test.server_sends(server_hello_text("1.1", trims)), "");
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "tarnd-gateway: shell 1: session 42, NETCONF 1.1\n" + (known ? "" : lacking));
    }
}

TEST(gateway_with_defaults, what_was_exported_so_is_compared_so)
{
    const std::string refusal = reply("5", error("operation-not-supported"));
    const std::string source = "<config><a xmlns=\"urn:a\">1</a></config>";
    const std::string start = "<get-config><source><running/></source>";
    const std::string end = "</get-config>";
    {
        exchange_bench test(trims, in("trim"));
        const std::string request = rpc("5", copy("<running/>", source));
        EXPECT_EQ(test.ask(request), chunked(request));
        EXPECT_EQ(test.answer(refusal),
                  chunked(rpc("tarnd-gateway-running", start + element("trim") + end)));
    }
    exchange_bench test(trims, in("trim"));
    const std::string request = rpc("5", copy("<running/>", "<startup/>"));
    EXPECT_EQ(test.ask(request), chunked(request));
    EXPECT_EQ(test.answer(refusal),
              chunked(rpc("tarnd-gateway-startup",
                          "<get-config><source><startup/></source></get-config>")));
    EXPECT_EQ(test.answer(reply("tarnd-gateway-startup", "<data/>")),
              chunked(rpc("tarnd-gateway-running", start + end)));
}
