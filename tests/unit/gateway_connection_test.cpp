// One shell and its server, at times that the tests choose.
#include "device/gateway/connection.h"

#include <gtest/gtest.h>
#include <string>

#include "support/connection_bench.h"
#include "support/relay_bench.h"

namespace
{

const char greets[] =
    "printf '<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><capabilities>"
    "<capability>urn:ietf:params:netconf:base:1.0</capability></capabilities>"
    "<session-id>7</session-id></hello>]]>]]>'; cat >/dev/null; true";

// The same, and then more than a socket holds.
const char greets_and_talks[] =
    "printf '<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><capabilities>"
    "<capability>urn:ietf:params:netconf:base:1.0</capability></capabilities>"
    "<session-id>7</session-id></hello>]]>]]><data>'; head -c 9000000 /dev/zero | tr '\\0' x;"
    "printf '</data>]]>]]>'; cat >/dev/null; true";

constexpr char idle_too_long[] = "the shell has asked nothing for too long (--idle-timeout)";

} // namespace

TEST(gateway_connection, a_server_may_say_hello_till_its_time_is_over)
{
    connection_bench test("cat >/dev/null; true");
    test.connect();
    EXPECT_EQ(connection_deadline(test.link.get()), start + 60000);
    test.serve(start + 59999);
    EXPECT_EQ(test.link->session.refusal, nullptr);
    test.serve(start + 60000);
    EXPECT_STREQ(test.link->session.refusal,
                 "the server has not said hello in time (--hello-timeout)");
    EXPECT_FALSE(test.link->over) << "the shell may still ask";
    EXPECT_EQ(connection_deadline(test.link.get()), start + 62000);
    test.serve(start + 61999);
    EXPECT_FALSE(test.link->over);
    test.serve(start + 62000);
    EXPECT_TRUE(test.link->over);
}

// Somebody who ended the session's process then would end another one's command.
TEST(gateway_connection, nobody_is_told_of_a_command_that_is_reaped)
{
    connection_bench test("head -c 1 >/dev/null");
    ASSERT_EQ(shell_slots_open(&test.task.slots, 1, 1000), 0);
    test.connect();
    EXPECT_EQ(test.task.slots.list[0].commands[0], test.link->server.pid);
    while (test.link->server.pid != 0)
        connection_reap(test.link.get());
    EXPECT_EQ(test.task.slots.list[0].commands[0], 0);
}

TEST(gateway_connection, after_the_hello_nothing_has_to_come)
{
    connection_bench test(greets);
    test.connect();
    test.greet();
    EXPECT_EQ(connection_deadline(test.link.get()), INT64_MAX);
    test.serve(start + 60000);
    EXPECT_EQ(test.link->session.refusal, nullptr);
    EXPECT_FALSE(test.link->over);
}

TEST(gateway_connection, a_shell_that_asks_nothing_is_told_and_closed)
{
    connection_bench test(greets);
    test.options.idle_timeout = 10;
    test.connect();
    test.greet();
    EXPECT_EQ(connection_deadline(test.link.get()), start + 10000);
    test.serve(start + 9999);
    EXPECT_FALSE(test.link->over);
    test.serve(start + 10000);
    EXPECT_TRUE(test.link->over) << "the notice went out at once";
    char bytes[1024];
    const ssize_t size = recv(test.shell.fd, bytes, sizeof bytes, 0);
    ASSERT_GT(size, 12);
    const std::string notice(bytes + 12, static_cast<size_t>(size) - 12);
    EXPECT_NE(notice.find(std::string("<reason>") + idle_too_long + "</reason>"),
              std::string::npos);
    EXPECT_EQ(recv(test.shell.fd, bytes, sizeof bytes, 0), 0) << "closed";
}

TEST(gateway_connection, a_shell_that_waits_for_an_answer_is_not_idle)
{
    connection_bench test(greets);
    test.options.idle_timeout = 10;
    test.connect();
    test.greet();
    test.ask(start + 9000);
    EXPECT_EQ(connection_deadline(test.link.get()), INT64_MAX);
    test.serve(start + 70000);
    EXPECT_EQ(test.link->session.refusal, nullptr);
    test.link->session.unanswered = 0;
    EXPECT_EQ(connection_deadline(test.link.get()), start + 80000);
}

TEST(gateway_connection, half_a_request_is_none)
{
    connection_bench test(greets);
    test.options.idle_timeout = 10;
    test.connect();
    test.greet();
    ASSERT_EQ(send(test.shell.fd, frame("<rpc/>").data(), 15, 0), 15);
    while (!test.link->over && test.link->session.request.body.size == 0)
        test.turn(start + 9000);
    EXPECT_EQ(connection_deadline(test.link.get()), start + 10000);
}

TEST(gateway_connection, a_shell_that_asks_on_and_reads_nothing_is_idle)
{
    connection_bench test(greets_and_talks);
    test.options.idle_timeout = 10;
    test.connect();
    test.greet();
    while (!test.link->over && outgoing_idle(&test.link->session.to_shell))
        test.turn(start + 1000);
    EXPECT_EQ(connection_deadline(test.link.get()), start + 11000) << "as long as it takes some";
    test.ask(start + 5000);
    EXPECT_EQ(connection_deadline(test.link.get()), start + 11000) << "asking is not reading";
    char bytes[65536];
    while (recv(test.shell.fd, bytes, sizeof bytes, 0) > 0) {
    }
    test.turn(start + 9000);
    EXPECT_EQ(connection_deadline(test.link.get()), start + 19000) << "it reads";
    test.serve(start + 18999);
    EXPECT_EQ(test.link->session.refusal, nullptr);
    test.serve(start + 19000);
    EXPECT_STREQ(test.link->session.refusal, idle_too_long);
    EXPECT_EQ(connection_deadline(test.link.get()), start + 21000) << "it may still read why";
    test.serve(start + 21000);
    EXPECT_TRUE(test.link->over);
}
