// What is asked of an idle server, and that nobody hears of the answer.
#include "device/gateway/adapters/adapter.h"

#include <gtest/gtest.h>
#include <string>

#include "device/gateway/answers.h"
#include "support/exchange_bench.h"

namespace
{

const std::string asked =
    rpc("tarnd-gateway-keepalive",
        "<get-config><source><running/></source><filter type=\"subtree\"/></get-config>");
const std::string other = rpc("6", "<x/>");

std::string kept_alive(exchange_bench *test)
{
    relay_keep_alive(test->session.get());
    test->advance();
    return test->to_server();
}

} // namespace

TEST(gateway_keepalive, the_answer_goes_nowhere)
{
    for (const std::string &answer : {std::string("<data/>"), error("access-denied")}) {
        exchange_bench test("");
        EXPECT_EQ(kept_alive(&test), chunked(asked));
        EXPECT_EQ(test.answer("<notification/>"), "");
        EXPECT_EQ(test.to_shell(), frame("<notification/>", 0));
        EXPECT_EQ(test.answer(reply("tarnd-gateway-keepalive", answer)), "");
        EXPECT_EQ(test.to_shell(), "");
        EXPECT_EQ(kept_alive(&test), chunked(asked));
    }
}

TEST(gateway_keepalive, requests_wait_for_the_answer)
{
    exchange_bench test("");
    EXPECT_EQ(kept_alive(&test), chunked(asked));
    EXPECT_EQ(test.ask(other), "");
    EXPECT_EQ(test.answer(reply("tarnd-gateway-keepalive", "<data/>")), chunked(other));
    EXPECT_EQ(test.answer(reply("6", "<ok/>")), "");
    EXPECT_EQ(test.to_shell(), frame(reply("6", "<ok/>"), 0));
}

TEST(gateway_keepalive, a_request_that_waits_in_vain_is_answered)
{
    exchange_bench test("");
    EXPECT_EQ(kept_alive(&test), chunked(asked));
    EXPECT_EQ(test.ask(other), "");
    relay_refuse(test.session.get(), relay_phase_refused, "silence");
    test.advance();
    byte_buffer failure{};
    EXPECT_EQ(failure_reply_write("6", "silence", &failure), 0);
    EXPECT_EQ(test.to_shell(), frame(std::string(byte_buffer_view(&failure))));
}

TEST(gateway_keepalive, nothing_is_asked_where_something_is)
{
    exchange_bench test("");
    EXPECT_EQ(test.ask(other), chunked(other));
    EXPECT_EQ(kept_alive(&test), "");
    EXPECT_EQ(test.answer(reply("6", "<ok/>")), "");
    test.to_shell();
    EXPECT_EQ(kept_alive(&test), chunked(asked));
    EXPECT_EQ(kept_alive(&test), "");
    relay_bench early;
    early.to_server();
    relay_keep_alive(early.session.get());
    early.advance();
    EXPECT_EQ(early.to_server(), "") << "before the hello";
}
