// The shell as a fuzz target finds it: a session at the root, the played schema
// database, and a daemon whose answers lie ready in the socket.
//
// When it ends, nothing may be left behind: nodes in a log, chunks in the pool,
// replies of the database, the exchange lock. The daemon's socket alone stays
// for the next shell, as long as nobody has asked anything.
#pragma once

#include <signal.h>
#include <string.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

#include "base/columns.h"
#include "base/session.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "link/exchange_lock.h"
#include "link/xpath.h"
#include "redisapi.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/support/captured_log.h"
#include "tests/support/fake_redis.h"
#include "tests/support/sample_schema.h"
#include "tests/support/scripted_server.h"

enum fuzz_schema {
    fuzz_schema_none,
    fuzz_schema_sample, // made once; puts are undone for the next shell
};

class fuzz_shell
{
  public:
    explicit fuzz_shell(fuzz_schema schema)
    {
        signal(SIGPIPE, SIG_IGN);
        session = session_record();
        server_fd = -1;
        lock_init();
        start_xml();
        use_schema(schema);
        session.pwd = strdup("/");
        session.prompt = strdup("/$ ");
        session.redis = redis_connect();
        tree_init();
    }

    ~fuzz_shell()
    {
        daemon().is_unasked = is_unasked();
        server_fd = -1;
        tree_free(&session.config_tree);
        tree_free(&session.rpc_tree);
        fuzz_require(session.config_tree.log.first == nullptr, "a freed tree has no log");
        fuzz_require(session.rpc_tree.log.first == nullptr, "a freed rpc tree has no log");
        pool_release();
        listing_free();
        local_entries_forget(nullptr, nullptr);
        fuzz_require(exchange_trylock() == 0, "nobody holds the exchange lock");
        exchange_unlock();
        redis_freeconn(session.redis);
        fuzz_require(fake_redis_open_replies() == 0, "every reply of the database is released");
        fake_redis_take_asked(); // or the notes of all inputs fill the memory
        free(session.pwd);
        free(session.prompt);
        free(session.rpc_path);
        captured_log_take();
    }

    fuzz_shell(const fuzz_shell &) = delete;
    fuzz_shell &operator=(const fuzz_shell &) = delete;

    // The daemon says these bytes, however many requests it gets, and goes away.
    void connect(const std::string &bytes)
    {
        disconnect();
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            abort();
        server_fd = ends[0];
        daemon().shell_end = ends[0];
        daemon().far_end = ends[1];
        fuzz_require(send(ends[1], bytes.data(), bytes.size(), MSG_DONTWAIT) ==
                         static_cast<ssize_t>(bytes.size()),
                     "the answers fit into the socket");
        shutdown(ends[1], SHUT_WR);
    }

    // The daemon answers each of `count` requests with this text. When the
    // same answers still lie in the socket, they stay there.
    void serve(const std::string &reply, int count)
    {
        if (is_unasked() && daemon().count == count && daemon().reply == reply) {
            server_fd = daemon().shell_end;
            daemon().sequence = session.send_seq;
            return;
        }
        std::string bytes;
        for (int i = 0; i < count; i++)
            bytes += frame_bytes(reply);
        connect(bytes);
        daemon().is_unasked = true;
        daemon().sequence = session.send_seq;
        daemon().reply = reply;
        daemon().count = count;
    }

    void disconnect()
    {
        if (daemon().shell_end >= 0) {
            close(daemon().shell_end);
            close(daemon().far_end);
        }
        daemon() = played_daemon();
        server_fd = -1;
    }

    static void set_text(char **slot, const std::string &text)
    {
        free(*slot);
        *slot = strdup(text.c_str());
    }

  private:
    struct played_daemon {
        int shell_end = -1;
        int far_end = -1;
        bool is_unasked = false; // it answers with `reply`, and has not begun to
        unsigned sequence = 0;   // of the frame that would be the first
        std::string reply;
        int count = 0;
    };

    static played_daemon &daemon()
    {
        static played_daemon the_only;
        return the_only;
    }

    // Every request takes a sequence number.
    static bool is_unasked()
    {
        return daemon().is_unasked && (server_fd < 0 || daemon().sequence == session.send_seq);
    }

    static void start_xml()
    {
        static bool done = false;
        if (!done) {
            xml_ready();
        }
        done = true;
    }

    static void use_schema(fuzz_schema schema)
    {
        static fuzz_schema present = fuzz_schema_none;
        if (schema == fuzz_schema_none || present != schema)
            fake_redis_reset();
        if (present != schema && schema == fuzz_schema_sample) {
            sample_schema();
            fake_redis_keep_hashes();
        }
        fake_redis_undo_puts();
        present = schema;
    }
};
