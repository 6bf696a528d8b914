// What is done about a server is said once in the log of each session.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "support/exchange_bench.h"

namespace
{

const std::string capability = "<capability>urn:ietf:params:netconf:capability:";
const std::string writable = capability + "writable-running:1.0</capability>";
const std::string candidate = capability + "candidate:1.0</capability>";
const std::string undoes = capability + "rollback-on-error:1.0</capability>";
const std::string module = "<capability>urn:m?module=mod</capability>";
const std::string lists_defaults =
    capability + "with-defaults:1.0?basic-mode=explicit</capability>";
const std::string ok = reply("5", "<ok/>");

std::string edit(const std::string &inner)
{
    return rpc("5", "<edit-config><target><running/></target>" + inner + "</edit-config>");
}

std::string said(const std::string &text)
{
    return "tarnd-gateway: shell 1: " + text + "\n";
}

// What is logged of a request that is sent twice, and answered in as many turns each time.
std::string log_of(const std::string &request, const std::string &capabilities,
                   const server_extras &extras = {}, unsigned turns = 1,
                   const std::string &answer = ok)
{
    exchange_bench test(capabilities, extras);
    for (unsigned times = 0; times < 2; times++) {
        EXPECT_NE(test.ask(request), "");
        for (unsigned turn = 0; turn < turns; turn++)
            test.answer(answer);
        EXPECT_NE(test.to_shell(), "");
    }
    return test.log();
}

} // namespace

TEST(gateway_adapters, say_once_what_becomes_of_a_request)
{
    EXPECT_EQ(log_of(edit("<config><a></a></config>"), writable + undoes),
              said("an element without content goes out as one tag"));
    EXPECT_EQ(log_of(edit("<config><a>mod:x</a></config>"), writable + undoes + module),
              said("names of modules in the values of an edit are declared"));
    server_extras defaults{};
    defaults.defaults = defaults_mode_find("explicit");
    EXPECT_EQ(log_of(rpc("5", "<get/>"), writable + undoes + lists_defaults, defaults),
              said("defaults are asked for (--with-defaults)"));
    EXPECT_EQ(log_of(edit(""), writable + undoes, {.lock = true}, 3),
              said("running is locked for an edit (--lock)"));
}

TEST(gateway_adapters, say_once_what_becomes_of_a_reply)
{
    EXPECT_EQ(log_of(rpc("5", "<get/>"), writable + undoes, {}, 1, reply("5", "<data/>")),
              said("the data of a reply are passed on between two plain tags"));
}

TEST(gateway_adapters, say_nothing_of_what_they_leave_alone)
{
    EXPECT_EQ(log_of(edit("<config><a/></config>"), writable + undoes + module), "");
    EXPECT_EQ(
        log_of(rpc("5", "<get/>"), writable + undoes + module, {}, 1, reply("5", "<data></data>")),
        "");
}

TEST(gateway_adapters, say_it_where_the_hello_gave_no_reason_to)
{
    const std::string option = "<error-option>rollback-on-error</error-option><config/>";
    EXPECT_EQ(log_of(edit(option), candidate, {}, 5),
              said("the error-option of an edit is left out (no rollback-on-error capability)"));
    EXPECT_EQ(log_of(edit(option), writable), "") << "it was said what may come of it";
}

TEST(gateway_adapters, leave_out_that_the_session_has_begun)
{
    const std::string start =
        "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><eventTime/>"
        "<netconf-session-start xmlns=\"urn:ietf:params:xml:ns:yang:ietf-netconf-notifications\">"
        "<session-id>42</session-id></netconf-session-start></notification>";
    exchange_bench test(writable + undoes);
    for (unsigned times = 0; times < 2; times++)
        EXPECT_EQ(test.answer(start), "");
    EXPECT_EQ(test.to_shell(), "");
    EXPECT_EQ(test.log(), said("the notification that the session has begun is left out"));
}
