// Start-up and whole sessions with each allocation failing in turn.
#include "tests/support/alloc_faults.h"

#include <pthread.h>
#include <stdio.h>

#include "link/server_session.h"
#include "tests/support/command_sweep.h"

namespace
{

// The listener has a test of its own; here its thread is not started.
int threads_started = 0;

} // namespace

extern "C" int __wrap_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)
{
    threads_started++;
    return 0;
}

namespace
{

const std::string session_reply =
    "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><session-id "
    "xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">5</session-id></rpc-reply>";

const std::string ok_reply =
    "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><ok/></rpc-reply>";

class startup_alloc_test : public command_sweep
{
  protected:
    // Makes a machine on which nothing has been started yet.
    void make_machine(const std::vector<std::string> &replies)
    {
        TearDown();
        SetUp();
        set_text(&session.pwd, nullptr);
        set_text(&session.prompt, nullptr);
        redis_freeconn(session.redis);
        session.redis = nullptr;
        sample_schema();
        server = nullptr;
        threads_started = 0;
        server = std::make_unique<scripted_server>(fake_conf_listen());
        for (const std::string &reply : replies)
            server->answer(reply);
        server->hang_up();
        server->start();
    }

    long blocks_in_use()
    {
        TearDown();
        xmlResetLastError();
        const long blocks = alloc_blocks;
        SetUp();
        return blocks;
    }

    // Lets standard input give these bytes and end.
    static void type(const std::string &input)
    {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        ASSERT_EQ(write(ends[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
        close(ends[1]);
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        clearerr(stdin);
    }

    static void report(const char *what, long points)
    {
        printf("swept: 1 scenario, %ld failure points of allocations: %s\n", points, what);
        RecordProperty("failure_points", static_cast<int>(points));
    }
};

} // namespace

TEST_F(startup_alloc_test, a_shell_starts_or_ends)
{
    long points = 0;
    for (const int way : {0, 1, 2, 3}) {
        const bool alone = way % 2 == 0;
        alloc_counts_libxml2 = way >= 2;
        make_machine({session_reply});
        const long blocks = blocks_in_use();
        bool failed = true;
        for (long calls = 0; failed; calls++) {
            SCOPED_TRACE("allocation " + std::to_string(calls + 1));
            make_machine({session_reply});
            alloc_failed = false;
            alloc_fails_once = alone;
            int result = 0;
            const std::string printed = printed_by([&] {
                alloc_calls_left = calls;
                result = vandel_init();
                alloc_calls_left = -1;
            });
            failed = alloc_failed;
            points += failed ? 1 : 0;
            if (result == 0) {
                ASSERT_STREQ(session.pwd, "/");
                ASSERT_STREQ(session.prompt, "/$ ");
                ASSERT_NE(session.redis, nullptr);
                ASSERT_EQ(session.session_id, 5);
                ASSERT_EQ(threads_started, 1);
                ASSERT_EQ(printed, "");
            } else {
                ASSERT_EQ(result, -1);
                ASSERT_EQ(session.pwd, nullptr);
                ASSERT_EQ(session.prompt, nullptr);
                ASSERT_TRUE(printed == "failed to connect ncserver!\r\n" || printed == "");
            }
            ASSERT_TRUE(failed || result == 0);
            ASSERT_EQ(blocks_in_use(), blocks);
        }
    }
    alloc_counts_libxml2 = false;
    report("start-up", points);
}

TEST_F(startup_alloc_test, a_session_of_piped_lines_goes_on)
{
    const std::string input = "cd m\npwd\nset c/x 1\nset c/l[name='a b']/v 2\nls\nget /m/c\n"
                              "nonsense\nget-config -l\ncommit\nhelp\npwd\nquit\nquit\nquit\n";
    long points = 0;
    const int original = dup(STDIN_FILENO);
    bool failed = true;
    for (long calls = 0; failed; calls++) {
        SCOPED_TRACE("allocation " + std::to_string(calls + 1));
        TearDown();
        SetUp();
        sample_schema();
        serve(std::vector<std::string>(12, ok_reply));
        type(input);
        alloc_failed = false;
        alloc_fails_once = true;
        int result = 0;
        testing::internal::CaptureStderr();
        const std::string printed = printed_by([&] {
            alloc_calls_left = calls;
            result = run_interactive();
            alloc_calls_left = -1;
        });
        testing::internal::GetCapturedStderr();
        failed = alloc_failed;
        points += failed ? 1 : 0;
        drop_detached(&session.config_tree);
        drop_detached(&session.rpc_tree);
        if (result != 0) {
            ASSERT_EQ(result, -1);
            ASSERT_EQ(printed, "");
        } else {
            // The last command but one is pwd, in whatever workspace.
            ASSERT_NE(printed.find("$ pwd\n/"), std::string::npos) << printed;
            ASSERT_EQ(printed.substr(printed.size() - 7), "$ quit\n") << printed;
        }
        while (getchar() != EOF) {
        }
    }
    dup2(original, STDIN_FILENO);
    close(original);
    report("a session of piped lines", points);
}
