// A relay after its hellos, and the messages of tests in which a request becomes several.
#pragma once

#include <gtest/gtest.h>

#include "support/relay_bench.h"

inline const std::string base = "urn:ietf:params:xml:ns:netconf:base:1.0";

inline std::string rpc(const std::string &id, const std::string &inner)
{
    return "<rpc xmlns=\"" + base + "\" message-id=\"" + id + "\">" + inner + "</rpc>";
}

inline std::string reply(const std::string &id, const std::string &inner)
{
    return "<rpc-reply xmlns=\"" + base + "\" message-id=\"" + id + "\">" + inner + "</rpc-reply>";
}

inline std::string error(const std::string &tag)
{
    return "<rpc-error><error-tag>" + tag + "</error-tag></rpc-error>";
}

// A session after its hellos, with a server of these capabilities.
struct exchange_bench : relay_bench {
    explicit exchange_bench(const std::string &capabilities, const server_extras &extras = {})
        : relay_bench(false)
    {
        session->extras = extras;
        EXPECT_EQ(to_server(), gateway_hello);
        EXPECT_EQ(server_sends(server_hello_text("1.1", capabilities)), "");
        testing::internal::CaptureStderr();
    }

    ~exchange_bench()
    {
        if (!logged)
            log();
        EXPECT_EQ(reason, "");
    }

    exchange_bench(const exchange_bench &) = delete;
    exchange_bench &operator=(const exchange_bench &) = delete;

    bool logged = false;

    std::string log()
    {
        logged = true;
        return testing::internal::GetCapturedStderr();
    }

    // What the server gets for a frame of the shell, or for a message of its own.
    std::string ask(const std::string &request)
    {
        EXPECT_EQ(shell_sends(frame(request)), "");
        return to_server();
    }

    std::string answer(const std::string &message)
    {
        EXPECT_EQ(server_sends(chunked(message)), "");
        return to_server();
    }
};

// What is logged of a server in the beginning.
inline std::string hello_log(const std::string &capabilities, const server_extras &extras = {},
                             const std::string &version = "1.1")
{
    testing::internal::CaptureStderr();
    relay_bench test(false);
    test.session->extras = extras;
    EXPECT_EQ(test.to_server(), gateway_hello);
    EXPECT_EQ(test.server_sends(server_hello_text(version, capabilities)), "");
    const std::string first = "tarnd-gateway: shell 1: session 42, NETCONF " + version + "\n";
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(log.substr(0, first.size()), first);
    return log.substr(first.size());
}
