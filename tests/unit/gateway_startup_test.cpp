// Requests for startup to a server that has none.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "support/exchange_bench.h"

namespace
{

const std::string refused = reply("5", error("unknown-element"));
const std::string told = reply(
    "5", "<rpc-error><error-type>application</error-type><error-tag>operation-failed</error-tag>"
         "<error-severity>error</error-severity><error-message xml:lang=\"en\">"
         "the server has no startup datastore (no startup capability)</error-message></rpc-error>");

std::string save(const std::string &source)
{
    return rpc("5", "<copy-config><target><startup/></target><source>" + source +
                        "</source></copy-config>");
}

// What the shell gets for a request that the server answers in this way.
std::string answered(const std::string &capabilities, const std::string &request,
                     const std::string &answer, const std::string &log = "",
                     const server_extras &wanted = {}, const std::string &asked = "")
{
    exchange_bench test(capabilities, wanted);
    EXPECT_EQ(test.ask(request), chunked(asked.empty() ? request : asked));
    EXPECT_EQ(test.answer(answer), "");
    const std::string frames = test.to_shell();
    EXPECT_EQ(test.ask(rpc("6", "<x/>")), chunked(rpc("6", "<x/>")));
    EXPECT_EQ(test.log(), log);
    return frames;
}

} // namespace

TEST(gateway_startup, a_refusal_says_what_is_missing)
{
    for (const std::string &request : {
             save("<running/>"),
             save("<config><a/></config>"),
             rpc("5", "<get-config><source><startup/></source></get-config>"),
             rpc("5", "<delete-config><target><startup/></target></delete-config>"),
         })
        EXPECT_EQ(answered("", request, refused,
                           "tarnd-gateway: shell 1: startup is refused: unknown-element\n"),
                  frame(told));
}

TEST(gateway_startup, that_there_is_none_is_said_once)
{
    EXPECT_EQ(
        hello_log("", {}),
        "tarnd-gateway: shell 1: the server has no startup datastore (no startup capability)\n");
}

TEST(gateway_startup, everything_else_passes)
{
    const std::string ok = reply("5", "<ok/>");
    EXPECT_EQ(answered("", save("<running/>"), ok), frame(ok)) << "a server that has one after all";
    EXPECT_EQ(answered("<capability>urn:ietf:params:netconf:capability:startup:1.0</capability>",
                       save("<running/>"), refused),
              frame(refused));
    for (const std::string &request : {
             rpc("5", "<get-config><source><running/></source></get-config>"),
             rpc("5", "<copy-config><target><running/></target><source><startup/></source>"
                      "</copy-config>"),
             rpc("5", "<x><target><startup/></target></x>"),
         })
        EXPECT_EQ(answered("", request, refused), frame(refused));
}

TEST(gateway_startup, running_is_taken_for_it_where_that_is_wanted)
{
    const server_extras wanted{.startup_is_running = true};
    EXPECT_EQ(hello_log("", wanted),
              "tarnd-gateway: shell 1: running is taken for startup (no startup capability)\n");
    const std::string done = "<rpc-reply xmlns=\"" + base + "\" message-id=\"5\"><ok/></rpc-reply>";
    EXPECT_EQ(answered("", save("<running/>"), refused, "", wanted), frame(done));
    const std::string read = rpc("5", "<get-config><source><startup/></source></get-config>");
    const std::string data = reply("5", "<data></data>");
    EXPECT_EQ(answered("", read, data, "", wanted,
                       rpc("5", "<get-config><source><running/></source></get-config>")),
              frame(data));
    const std::string refusal = "tarnd-gateway: shell 1: startup is refused: unknown-element\n";
    for (const std::string &request : {
             save("<config><a/></config>"),
             rpc("5", "<delete-config><target><startup/></target></delete-config>"),
         })
        EXPECT_EQ(answered("", request, refused, refusal, wanted), frame(told));
    EXPECT_EQ(answered("<capability>urn:ietf:params:netconf:capability:startup:1.0</capability>",
                       read, data, "", wanted),
              frame(data));
}
