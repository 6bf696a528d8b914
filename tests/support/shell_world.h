// The shell as a unit test finds it: a session at the root, the played schema
// database, and a daemon when the test asks for one.
//
// After each test nothing may be left behind: replies of the database, nodes
// in a log, chunks in the pool, the exchange lock.
#pragma once

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "base/columns.h"
#include "base/session.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "link/exchange.h"
#include "link/exchange_lock.h"
#include "link/xpath.h"
#include "redisapi.h"
#include "tests/support/captured_log.h"
#include "tests/support/captured_output.h"
#include "tests/support/fake_conf.h"
#include "tests/support/fake_redis.h"
#include "tests/support/private_tmp.h"
#include "tests/support/sample_schema.h"
#include "tests/support/scripted_server.h"

// An allocation that is too large fails under the sanitizer as it does elsewhere.
extern "C" inline __attribute__((used, visibility("default"))) const char *
__asan_default_options(void)
{
    return "allocator_may_return_null=1:detect_stack_use_after_return=1";
}

inline const std::string base_ns = "urn:ietf:params:xml:ns:netconf:base:1.0";

// Texts of whole requests.
inline std::string rpc_line(int message_id)
{
    return "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"" +
           std::to_string(message_id) + "\">\r\n";
}

inline std::string get_request(int message_id, const std::string &filter)
{
    return rpc_line(message_id) + "  <get>\r\n    <filter type=\"subtree\">\r\n" + filter +
           "    </filter>\r\n  </get>\r\n</rpc>\r\n";
}

inline std::string get_config_request(int message_id, const std::string &filter,
                                      const std::string &source = "running")
{
    return rpc_line(message_id) + "  <get-config>\r\n    <source>\r\n      <" + source +
           "/>\r\n    </source>\r\n    <filter type=\"subtree\">\r\n" + filter +
           "    </filter>\r\n  </get-config>\r\n</rpc>\r\n";
}

inline std::string edit_request(int message_id, const std::string &body)
{
    return rpc_line(message_id) +
           "  <edit-config>\r\n    <target>\r\n      <running/>\r\n    </target>\r\n"
           "    <error-option>rollback-on-error</error-option>\r\n"
           "    <config xmlns:xc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">\r\n" +
           body + "    </config>\r\n  </edit-config>\r\n</rpc>\r\n";
}

// A reply that carries data.
inline std::string data_reply(const std::string &data)
{
    return "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"1\"><data>" +
           data + "</data></rpc-reply>";
}

// Sends a text as requests are sent.
inline int send_text(std::string_view text, frame_ending ending = frame_ends_in_zero)
{
    text_buffer request;
    EXPECT_EQ(text_append_all(&request, {frame_room, text}), 0);
    return msg_send(&request, ending);
}

class shell_world : public testing::Test
{
  protected:
    void SetUp() override
    {
        signal(SIGPIPE, SIG_IGN);
        session = session_record();
        server_fd = -1;
        lock_init();
        xml_ready();
        fake_redis_reset();
        fake_conf_reset();
        session.pwd = strdup("/");
        session.prompt = strdup("/$ ");
        session.redis = redis_connect();
        tree_init();
        captured_log_take();
    }

    void TearDown() override
    {
        disconnect();
        tree_free(&session.config_tree);
        tree_free(&session.rpc_tree);
        EXPECT_EQ(session.config_tree.log.first, nullptr);
        EXPECT_EQ(session.rpc_tree.log.first, nullptr);
        pool_release();
        listing_free();
        local_entries_forget(nullptr, nullptr);
        EXPECT_EQ(exchange_trylock(), 0) << "the exchange lock was left held";
        exchange_unlock();
        redis_freeconn(session.redis);
        EXPECT_EQ(fake_redis_open_replies(), 0);
        free(session.pwd);
        free(session.prompt);
        free(session.rpc_path);
    }

    // A daemon behind server_fd; the test adds the steps and starts it.
    scripted_server &connect()
    {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            abort();
        server_fd = ends[0];
        server = std::make_unique<scripted_server>(ends[1]);
        return *server;
    }

    // A daemon that gives these replies, one for each request, and goes away.
    void serve(const std::vector<std::string> &replies)
    {
        disconnect();
        connect();
        for (const std::string &reply : replies)
            server->answer(reply);
        server->hang_up();
        server->start();
    }

    void disconnect()
    {
        if (server_fd > 0) {
            shutdown(server_fd, SHUT_RDWR);
            close(server_fd);
        }
        server_fd = -1;
        server.reset();
    }

    // The requests that arrived, without their terminating zero byte.
    std::vector<std::string> requests()
    {
        shutdown(server_fd, SHUT_WR);
        std::vector<std::string> texts;
        for (const server_frame &frame : server->finish()) {
            std::string text = frame.body;
            EXPECT_FALSE(text.empty());
            EXPECT_EQ(text.back(), '\0');
            text.pop_back();
            texts.push_back(text);
        }
        return texts;
    }

    static std::string printed_by(const std::function<void()> &action)
    {
        captured_output output;
        action();
        return output.text();
    }

    // What a command prints for a line; it returns 0, as each but quit does.
    static std::string output_of(int (*command)(const char *), const std::string &line)
    {
        return printed_by([&] { EXPECT_EQ(command(line.c_str()), 0); });
    }

    static void set_text(char **slot, const char *text)
    {
        free(*slot);
        *slot = text != nullptr ? strdup(text) : nullptr;
    }

    static void stand_at(const char *path)
    {
        set_text(&session.pwd, path);
    }

    static void enter_rpc(const char *path)
    {
        set_text(&session.rpc_path, path);
        set_text(&session.pwd, path);
    }

    // Staged commands in order: operation, path, value.
    static std::string log(const command_tree &tree = session.config_tree)
    {
        std::string text;
        for (const cmd_node *node = tree.log.first; node != nullptr; node = node->log_next) {
            text += std::to_string(node->operation) + " " + node->path +
                    (node->value != nullptr ? std::string(" ") + node->value : "") + "\n";
        }
        return text;
    }

    // All that an operator's commands change.
    static std::string all_held()
    {
        std::string text = std::string(session.pwd) + "|" + session.prompt + "|" +
                           (session.rpc_path != nullptr ? session.rpc_path : "") + "\n" + log() +
                           "|" + log(session.rpc_tree);
        const list_record *list = session.entries != nullptr ? *session.entries : nullptr;
        for (; list != nullptr; list = list->next) {
            text += list->path;
            for (const list_entry *entry = list->entries; entry != nullptr; entry = entry->next)
                text += std::string(" ") + entry->key;
            text += "\n";
        }
        return text;
    }

    // Whether a command refuses its line: it says something, and changes nothing.
    // What it says is asserted where an operator reads it, in the end-to-end tests.
    static testing::AssertionResult refused(int (*command)(const char *), const std::string &line)
    {
        const std::string before = all_held();
        const std::string said = output_of(command, line);
        if (!said.empty() && all_held() == before)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << line << " printed \"" << said
                                           << "\"\nbefore: " << before << "\nafter: " << all_held();
    }

    std::unique_ptr<scripted_server> server;
};
