// A gateway's connection to a server that is a script, at times that a test chooses.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/socket.h>

#include "device/gateway/connection.h"
#include "support/relay_bench.h"

constexpr int64_t start = 1000; // when a test begins

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
        ASSERT_EQ(send(shell.fd, request.data(), request.size(), 0),
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
