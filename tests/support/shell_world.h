// The shell as a unit test finds it: a session at the root, the played schema
// database, and a daemon when the test asks for one.
//
// After each test nothing may be left behind: replies of the database, nodes
// in a log, chunks in the pool, the exchange lock.
#ifndef VANDEL_TESTS_SHELL_WORLD_H
#define VANDEL_TESTS_SHELL_WORLD_H

#include "cmdtree/chunk_pool.h"
#include "cmdtree/tree.h"
#include "complete/columns.h"
#include "link/exchange_lock.h"
#include "link/xpath.h"
#include "redisapi.h"
#include "schema/local_entries.h"
#include "shell/session.h"
#include "tests/support/captured_log.h"
#include "tests/support/captured_output.h"
#include "tests/support/fake_conf.h"
#include "tests/support/fake_redis.h"
#include "tests/support/scripted_server.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

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

// A schema with every kind of node; "o" is a second module that augments "m".
inline void sample_schema()
{
    fake_redis_put_module("m", "urn:m");
    fake_redis_put_module("o", "urn:o");
    fake_redis_put_node("/m", "c", fake_container);
    fake_redis_put_node("/m", "top", fake_leaf);
    fake_redis_put_node("/m", "state", fake_container, false);
    fake_redis_put_node("/m/state", "load", fake_leaf, false);
    fake_redis_put_node("/m/c", "x", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "y", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "id", fake_leaf, true, "identityref");
    fake_redis_put_node("/m/c", "un", fake_leaf, true, "union");
    fake_redis_put_node("/m/c", "up", fake_leaf, false, "uint32");
    fake_redis_put_node("/m/c", "ll", fake_leaf_list, true, "string");
    fake_redis_put_node("/m/c", "sub", fake_container);
    fake_redis_put_node("/m/c/sub", "z", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "l", fake_list);
    fake_redis_put_node("/m/c/l", "name", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]", "name", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]", "v", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]", "in", fake_list);
    fake_redis_put_node("/m/c/l[]/in", "k", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]/in[]", "k", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l[]/in[]", "w", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "l2", fake_list);
    fake_redis_put_node("/m/c/l2", "k2", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l2", "k1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l2[]", "k1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l2[]", "k2", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/l2[]", "v", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "o:box", fake_container);
    fake_redis_put_node("/m/c/o:box", "lid", fake_leaf, true, "string");
    fake_redis_put_node("/m/c", "ch", fake_choice);
    fake_redis_put_node("/m/c/ch", "ca", fake_case);
    fake_redis_put_node("/m/c/ch", "cb", fake_case);
    fake_redis_put_node("/m/c/ch/ca", "a1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/ch/ca", "a2", fake_container);
    fake_redis_put_node("/m/c/ch/ca/a2", "deep", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/ch/cb", "b1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/ch/cb", "nest", fake_choice);
    fake_redis_put_node("/m/c/ch/cb/nest", "n1", fake_case);
    fake_redis_put_node("/m/c/ch/cb/nest", "n2", fake_case);
    fake_redis_put_node("/m/c/ch/cb/nest/n1", "p1", fake_leaf, true, "string");
    fake_redis_put_node("/m/c/ch/cb/nest/n2", "p2", fake_leaf, true, "string");
    fake_redis_put_node("/m", "r", fake_rpc);
    fake_redis_put_node("/m/r", "input", fake_input);
    fake_redis_put_node("/m/r/input", "p", fake_leaf, true, "string");
    fake_redis_put_node("/m/r/input", "pc", fake_container);
    fake_redis_put_node("/m/r/input/pc", "q", fake_leaf, true, "string");
    fake_redis_put_node("/m/r/input", "pl", fake_list);
    fake_redis_put_node("/m/r/input/pl", "n", fake_leaf, true, "string");
    fake_redis_put_node("/m/r/input/pl[]", "n", fake_leaf, true, "string");
    fake_redis_put_node("/m/r/input/pl[]", "d", fake_leaf, true, "string");
    fake_redis_put_node("/m", "bare", fake_rpc);
    fake_redis_put_node("/o", "oc", fake_container);
    fake_redis_put_node("/o/oc", "leaf", fake_leaf, true, "string");
}

// Gives the process a /tmp of its own, so that the profile is nobody else's.
inline void private_tmp()
{
    static bool done = false;
    if (done) {
        return;
    }
    uid_t user = getuid();
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        perror("unshare");
        abort();
    }
    if (user != 0) {
        std::string map = "0 " + std::to_string(user) + " 1\n";
        int file = open("/proc/self/uid_map", O_WRONLY | O_CLOEXEC);
        if (file < 0 || write(file, map.data(), map.size()) < 0) {
            perror("uid_map");
        }
        close(file);
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/tmp", "tmpfs", 0, nullptr) != 0) {
        perror("mount");
        abort();
    }
    done = true;
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
        xml_init();
        xml_silence();
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
        EXPECT_EQ(session.reply_doc, nullptr);
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
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            abort();
        }
        server_fd = ends[0];
        server = std::make_unique<scripted_server>(ends[1]);
        return *server;
    }

    // A daemon that gives these replies, one for each request, and goes away.
    void serve(const std::vector<std::string> &replies)
    {
        disconnect();
        connect();
        for (const std::string &reply : replies) {
            server->answer(reply);
        }
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

    std::unique_ptr<scripted_server> server;
};

#endif
