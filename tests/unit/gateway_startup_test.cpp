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
                     const std::string &answer, const std::string &log = "")
{
    exchange_bench test(capabilities);
    EXPECT_EQ(test.ask(request), chunked(request));
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
