// Edits of running between a lock and its unlock.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "support/exchange_bench.h"

namespace
{

const std::string writable =
    "<capability>urn:ietf:params:netconf:capability:writable-running:1.0</capability>"
    "<capability>urn:ietf:params:netconf:capability:rollback-on-error:1.0</capability>";
const std::string candidate =
    "<capability>urn:ietf:params:netconf:capability:candidate:1.0</capability>"
    "<capability>urn:ietf:params:netconf:capability:rollback-on-error:1.0</capability>";
const std::string lock = rpc("5", "<lock><target><running/></target></lock>");
const std::string unlock = rpc("5", "<unlock><target><running/></target></unlock>");
const std::string edit = rpc("5", "<edit-config><target><running/></target></edit-config>");
const std::string ok = reply("5", "<ok/>");
const std::string denied = reply("5", error("lock-denied"));
const std::string warned =
    reply("5", "<rpc-error><error-severity>warning</error-severity></rpc-error><ok/>");
const std::string locked = "tarnd-gateway: shell 1: running is locked for an edit (--lock)\n";

constexpr server_extras locks{.lock = true};

struct lock_bench : exchange_bench {
    lock_bench() : exchange_bench(writable, locks) {}

    // The answer is what the shell gets, and the next request goes out.
    void ends_with(const std::string &last)
    {
        EXPECT_EQ(to_shell(), frame(last, 0));
        EXPECT_EQ(ask(rpc("6", "<x/>")), chunked(rpc("6", "<x/>")));
    }
};

} // namespace

TEST(gateway_lock, running_is_locked_while_it_is_edited)
{
    for (const std::string &answer : {reply("5", "<ok/><!--edited-->"), denied, warned}) {
        lock_bench test;
        EXPECT_EQ(test.ask(edit), chunked(lock));
        EXPECT_EQ(test.answer(ok), chunked(edit));
        EXPECT_EQ(test.answer(answer), chunked(unlock));
        EXPECT_EQ(test.to_shell(), "");
        EXPECT_EQ(test.answer(ok), "");
        test.ends_with(answer);
        EXPECT_EQ(test.log(), locked);
    }
}

TEST(gateway_lock, a_lock_that_is_denied_is_the_answer)
{
    lock_bench test;
    EXPECT_EQ(test.ask(edit), chunked(lock));
    EXPECT_EQ(test.answer(denied), "");
    test.ends_with(denied);
}

TEST(gateway_lock, a_lock_that_warns_is_one)
{
    lock_bench test;
    EXPECT_EQ(test.ask(edit), chunked(lock));
    EXPECT_EQ(test.answer(warned), chunked(edit));
}

TEST(gateway_lock, an_unlock_that_fails_is_logged)
{
    lock_bench test;
    EXPECT_EQ(test.ask(edit), chunked(lock));
    EXPECT_EQ(test.answer(ok), chunked(edit));
    EXPECT_EQ(test.answer(ok), chunked(unlock));
    EXPECT_EQ(test.answer(denied), "");
    test.ends_with(ok);
    EXPECT_EQ(test.log(),
              locked + "tarnd-gateway: shell 1: the server does not let go of running\n");
}

TEST(gateway_lock, other_requests_pass)
{
    for (const std::string &request : {
             rpc("5", "<edit-config><target><candidate/></target></edit-config>"),
             rpc("5", "<copy-config><target><running/></target><source><candidate/></source>"
                      "</copy-config>"),
             rpc("5", "<get/>"),
             "<rpc xmlns='" + base +
                 "'><edit-config><target><running/></target></edit-config></rpc>",
         }) {
        lock_bench test;
        EXPECT_EQ(test.ask(request), chunked(request));
    }
}

TEST(gateway_lock, only_where_it_is_wanted_and_running_is_written)
{
    exchange_bench unwanted(writable);
    EXPECT_EQ(unwanted.ask(edit), chunked(edit));
    unwanted.log();
    exchange_bench indirect(candidate, locks);
    EXPECT_EQ(indirect.ask(edit), chunked(rpc("5", "<lock><target><candidate/></target></lock>")));
}
