// A second session for notifications, at times that the tests choose.
#include "device/gateway/second_session.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <signal.h>
#include <string>

#include "support/connection_bench.h"

namespace
{

std::string says_hello(const std::string &capabilities)
{
    std::string hello = server_hello_text("1.0", capabilities);
    for (size_t at = hello.find('\n'); at != std::string::npos; at = hello.find('\n'))
        hello.erase(at, 1);
    return "printf '%s' '" + hello + "'; ";
}

const std::string notifies =
    says_hello("<capability>urn:ietf:params:netconf:capability:notification:1.0</capability>");
const std::string waits = "cat >/dev/null; true";

// What a server answers to the request that the script has not read.
const std::string subscribed =
    "printf '%s' '<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
    "message-id=\"tarnd-gateway-subscription\"><ok/></rpc-reply>]]>]]>'; ";

// A connection whose server wants a second session, which another script plays.
struct second_bench {
    connection_bench first{notifies + waits};
    std::string script;
    char *command[4];
    gateway_options options{};
    connection_task task{};
    second_session second{};

    explicit second_bench(const std::string &text) : script(text)
    {
        signal(SIGPIPE, SIG_IGN); // as the gateway does
        testing::internal::CaptureStderr();
        first.options.subscribe = true;
        first.connect();
        first.greet();
        std::copy(first.command, first.command + 4, command);
        command[2] = script.data();
        options = first.options;
        options.command = command;
        task = first.task;
        task.options = &options;
        first.link->task = &task;
        testing::internal::GetCapturedStderr();
    }

    const connection *link() const
    {
        return second.link.get();
    }

    int64_t deadline() const
    {
        return second_session_deadline(&second, first.link.get());
    }

    void serve(int64_t now)
    {
        const struct pollfd nothing[connection_poll_count] = {};
        second_session_serve(&second, first.link.get(), nothing, now);
    }

    // Waits for one event, which happens at that time.
    void turn(int64_t now)
    {
        struct pollfd polls[connection_poll_count] = {};
        connection_poll(second.link.get(), polls);
        ASSERT_GT(poll(polls, connection_poll_count, -1), 0);
        second_session_serve(&second, first.link.get(), polls, now);
    }

    // Has a session that ends by itself run, all at that time.
    void lose(int64_t now)
    {
        serve(now);
        ASSERT_NE(second.link, nullptr);
        while (!link()->over)
            turn(now);
        reap();
    }

    void reap()
    {
        transport_kill(&second.link->server);
        while (second.link->server.pid != 0)
            connection_reap(second.link.get());
    }

    ~second_bench()
    {
        second_session_end(&second, start, true);
        reap();
    }
};

const std::string is_lost = "tarnd-gateway: shell 1: notifications do not come now: ";

} // namespace

TEST(gateway_second_session, is_tried_again_after_pauses_that_grow_to_a_minute)
{
    second_bench test("true");
    EXPECT_LE(test.deadline(), start) << "at once";
    int64_t now = start;
    testing::internal::CaptureStderr();
    for (const int64_t pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
        test.lose(now);
        EXPECT_EQ(test.deadline(), now + pause * 1000);
        test.serve(now + pause * 1000 - 1);
        EXPECT_EQ(test.link()->server.pid, 0) << "not yet";
        now += pause * 1000;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              is_lost + "the server ended before its hello\n");
}

TEST(gateway_second_session, one_that_has_lasted_is_tried_again_soon)
{
    second_bench test("true");
    test.lose(start);
    test.lose(start + 1000);
    EXPECT_EQ(test.deadline(), start + 3000);
    test.script = notifies + subscribed + "read -r line; true";
    test.command[2] = test.script.data();
    testing::internal::CaptureStderr();
    test.serve(start + 3000);
    while (!test.link()->over && test.link()->session.phase != relay_phase_requests)
        test.turn(start + 3000);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tarnd-gateway: shell 1: notifications come again\n");
    testing::internal::CaptureStderr();
    transport_kill(&test.second.link->server);
    while (!test.link()->over)
        test.turn(start + 63001);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), is_lost + "the server ended the session\n");
    test.reap();
    EXPECT_EQ(test.deadline(), start + 64001);
}

TEST(gateway_second_session, a_command_that_cannot_be_run_is_tried_again)
{
    second_bench test("");
    char none[] = "/nonexistent/command";
    test.command[0] = none;
    testing::internal::CaptureStderr();
    test.serve(start);
    EXPECT_EQ(test.deadline(), start + 1000);
    test.serve(start + 1000);
    EXPECT_EQ(test.deadline(), start + 3000);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              is_lost + "there is no server: its command cannot be run\n");
}

TEST(gateway_second_session, may_say_hello_till_its_time_is_over)
{
    second_bench test(waits);
    test.serve(start);
    EXPECT_EQ(test.deadline(), start + 60000);
    testing::internal::CaptureStderr();
    test.serve(start + 60000);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              is_lost + "the server has not said hello in time (--hello-timeout)\n");
    EXPECT_TRUE(test.link()->over);
    EXPECT_FALSE(test.first.link->over);
    test.reap();
    EXPECT_EQ(test.deadline(), start + 61000);
}

TEST(gateway_second_session, ends_with_the_first_without_a_word)
{
    second_bench test(notifies + waits);
    test.serve(start);
    EXPECT_NE(test.link()->server.pid, 0);
    testing::internal::CaptureStderr();
    test.first.link->session.deaf = true;
    test.serve(start);
    EXPECT_TRUE(test.link()->over);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    test.reap();
    EXPECT_EQ(test.deadline(), INT64_MAX);
    test.serve(start + 100000);
    EXPECT_EQ(test.link()->server.pid, 0) << "no other one is started";
}
