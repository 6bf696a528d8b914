// One shell and its server, at times that the tests choose.
#include "device/gateway/connection.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>

#include "support/relay_bench.h"

namespace
{

constexpr int64_t start = 1000;

// A connection whose server is a script of the shell. The last word of a script
// is "true", so that no shell puts the command before it, which has another
// output, in its own place: the server would seem to have ended.
struct connection_bench {
    std::string script;
    char *command[4];
    gateway_options options{};
    connection_task task{1, nullptr, &options, {}, 0};
    descriptor shell; // the shell's end
    std::unique_ptr<connection> link;

    explicit connection_bench(const std::string &text) : script(text)
    {
        static char name[] = "sh";
        static char option[] = "-c";
        command[0] = name;
        command[1] = option;
        command[2] = script.data();
        command[3] = nullptr;
        options.command = command;
        options.hello_timeout = 60;
    }

    void connect()
    {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
        shell = descriptor(ends[0]);
        link = connection_start(descriptor(ends[1]), &task, start);
        ASSERT_TRUE(link);
        serve(start);
    }

    // Waits for the hello, which comes at the start.
    void greet()
    {
        while (!link->over && relay_awaits_hello(&link->session))
            turn(start);
    }

    // The shell asks; the server does not answer.
    void ask(int64_t now)
    {
        const std::string request = frame("<rpc/>");
        ASSERT_EQ(send(shell.number, request.data(), request.size(), 0),
                  static_cast<ssize_t>(request.size()));
        while (!link->over && link->session.unanswered == 0)
            turn(now);
    }

    void serve(int64_t now)
    {
        const struct pollfd nothing[connection_poll_count] = {};
        connection_serve(link.get(), nothing, now);
    }

    // Waits for one event, which happens at that time.
    void turn(int64_t now)
    {
        struct pollfd polls[connection_poll_count] = {};
        connection_poll(link.get(), polls);
        ASSERT_FALSE(link->over) << "the session has ended";
        ASSERT_GT(poll(polls, connection_poll_count, -1), 0);
        connection_serve(link.get(), polls, now);
    }

    ~connection_bench()
    {
        if (link == nullptr)
            return;
        connection_end(link.get(), "the test is over", start, true);
        transport_kill(&link->server);
        while (!connection_finished(link.get()))
            connection_reap(link.get());
    }
};

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
    EXPECT_EQ(test.task.slots.list[0].command, test.link->server.pid);
    while (test.link->server.pid != 0)
        connection_reap(test.link.get());
    EXPECT_EQ(test.task.slots.list[0].command, 0);
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
    const ssize_t size = recv(test.shell.number, bytes, sizeof bytes, 0);
    ASSERT_GT(size, 12);
    const std::string notice(bytes + 12, static_cast<size_t>(size) - 12);
    EXPECT_NE(notice.find(std::string("<reason>") + idle_too_long + "</reason>"),
              std::string::npos);
    EXPECT_EQ(recv(test.shell.number, bytes, sizeof bytes, 0), 0) << "closed";
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
    ASSERT_EQ(send(test.shell.number, frame("<rpc/>").data(), 15, 0), 15);
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
    while (recv(test.shell.number, bytes, sizeof bytes, 0) > 0) {
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
