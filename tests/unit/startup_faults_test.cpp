// Start-up with each of its calls failing in turn: the shell starts, or it ends
// with nothing of its own left behind.
#include "tests/support/call_faults.h"

#include <pthread.h>
#include <pwd.h>

#include "shell/startup.h"
#include "tests/support/shell_world.h"

namespace
{

int create_error = 0;
int threads_started = 0;
bool has_user = true;

} // namespace

extern "C" {
int __wrap_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)
{
    threads_started += create_error == 0 ? 1 : 0;
    return create_error;
}
struct passwd *__real_getpwuid(uid_t user);
struct passwd *__wrap_getpwuid(uid_t user)
{
    return has_user ? __real_getpwuid(user) : nullptr;
}
int __real_conf_agent_init(void);
int __wrap_conf_agent_init(void)
{
    const call_fault *fault = call_fault_of("conf_agent_init");
    return fault != nullptr ? -1 : __real_conf_agent_init();
}
int __real_conf_dbg_enable(int level, int flag);
int __wrap_conf_dbg_enable(int level, int flag)
{
    return call_fault_of("conf_dbg_enable") != nullptr ? 7 : __real_conf_dbg_enable(level, flag);
}
}

namespace
{

const std::string session_reply =
    "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><session-id "
    "xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">5</session-id></rpc-reply>";
const std::string no_server = "failed to connect ncserver!\r\n";
const std::pair<int, std::string> connected = {14, "[INFO] Vandel connect to tarnd success.\n"};
const std::pair<int, std::string> sent = {14, "[INFO] Send a message to tarnd.\n"};
const std::pair<int, std::string> received = {14, "[INFO] Recv a message from tarnd.\n"};

class startup_faults_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        set_text(&session.pwd, nullptr);
        set_text(&session.prompt, nullptr);
        redis_freeconn(session.redis);
        session.redis = nullptr;
        create_error = 0;
        threads_started = 0;
        has_user = true;
        server = std::make_unique<scripted_server>(fake_conf_listen());
        server->answer(session_reply).hang_up().start();
        captured_log_take();
    }

    // Starts the shell, with what it prints checked; returns its result.
    static int start(const std::string &printed)
    {
        int result = 0;
        EXPECT_EQ(printed_by([&] { result = vandel_init(); }), printed);
        call_armed = nullptr;
        return result;
    }

    // Expects a start to fail in this way, leaving nothing behind.
    static void expect_failure(const std::string &printed, const log_lines &logged)
    {
        EXPECT_EQ(start(printed), -1);
        EXPECT_EQ(captured_log_take(), logged);
        EXPECT_EQ(session.pwd, nullptr);
        EXPECT_EQ(session.prompt, nullptr);
        EXPECT_EQ(session.redis, nullptr);
        EXPECT_EQ(threads_started, 0);
    }

    static void expect_call_failure(const call_fault &fault, long calls, const std::string &printed,
                                    const log_lines &logged)
    {
        call_arm(&fault, calls);
        expect_failure(printed, logged);
        EXPECT_TRUE(call_failed);
    }

    static bool is_closed(int fd)
    {
        return fcntl(fd, F_GETFD) < 0 && errno == EBADF;
    }
};

} // namespace

TEST_F(startup_faults_test, a_shell_starts)
{
    EXPECT_EQ(start(""), 0);
    EXPECT_EQ(captured_log_take(), (log_lines{connected, sent, received}));
    EXPECT_EQ(threads_started, 1);
    EXPECT_STREQ(session.pwd, "/");
}

TEST_F(startup_faults_test, a_session_that_is_told_to_end_reads_nothing)
{
    ASSERT_EQ(start(""), 0);
    int input[2];
    ASSERT_EQ(pipe(input), 0);
    ASSERT_EQ(write(input[1], "quit\n", 5), 5);
    close(input[1]);
    const int before = dup(STDIN_FILENO);
    dup2(input[0], STDIN_FILENO);
    session.quit = 1;
    EXPECT_EQ(printed_by([] { EXPECT_EQ(run_interactive(), 0); }), "");
    char unread[8];
    EXPECT_EQ(read(input[0], unread, sizeof unread), 5);
    dup2(before, STDIN_FILENO);
    close(before);
    close(input[0]);
    EXPECT_EQ(session.pwd, nullptr);
    EXPECT_STREQ(session.prompt, "/$ ");
    EXPECT_EQ(session.redis, nullptr);
}

TEST_F(startup_faults_test, debug_output_cannot_be_enabled)
{
    expect_call_failure({"conf_dbg_enable", fault_error, 0}, 0, "", {});
    EXPECT_EQ(fake_conf_calls(), 0);
}

TEST_F(startup_faults_test, the_daemon_cannot_be_reached)
{
    expect_call_failure({"conf_agent_init", fault_error, ECONNREFUSED}, 0, no_server,
                        {{11, "[ERROR] Connect to tarnd failed(Connection refused).\n"}});
    EXPECT_EQ(server_fd, -1);
}

TEST_F(startup_faults_test, the_user_is_unknown)
{
    has_user = false;
    expect_failure(no_server, {connected});
    EXPECT_TRUE(is_closed(server_fd));
    server_fd = -1;
}

TEST_F(startup_faults_test, the_request_cannot_be_written)
{
    expect_call_failure({"write", fault_error, EPIPE}, 0, no_server,
                        {connected, sent, {11, "[ERROR] Send message failed(Broken pipe).\n"}});
    EXPECT_TRUE(is_closed(server_fd));
    server_fd = -1;
}

TEST_F(startup_faults_test, half_of_the_request_is_written)
{
    expect_call_failure({"write", fault_short, 0}, 0, no_server, {connected, sent});
    EXPECT_TRUE(is_closed(server_fd));
    server_fd = -1;
}

TEST_F(startup_faults_test, the_header_of_the_reply_cannot_be_read)
{
    for (const call_fault fault :
         {call_fault{"read", fault_error, EIO}, call_fault{"read", fault_error, EINTR},
          call_fault{"read", fault_short, 0}, call_fault{"read", fault_end, 0}}) {
        TearDown();
        SetUp();
        expect_call_failure(fault, 0, no_server, {connected, sent});
        EXPECT_TRUE(is_closed(server_fd));
        server_fd = -1;
    }
}

TEST_F(startup_faults_test, the_body_of_the_reply_cannot_be_read)
{
    const std::string size = std::to_string(session_reply.size());
    const std::pair<call_fault, std::string> faults[] = {
        {{"read", fault_error, EIO}, "Input/output error). expected: " + size + ", actual:-1\n"},
        {{"read", fault_error, EINTR},
         "Interrupted system call). expected: " + size + ", actual:-1\n"},
        {{"read", fault_end, 0}, "Success). expected: " + size + ", actual:0\n"},
    };
    for (const auto &[fault, text] : faults) {
        TearDown();
        SetUp();
        expect_call_failure(fault, 1, no_server,
                            {connected, sent, {15, "[DEBUG] Read message failed(" + text}});
        EXPECT_TRUE(is_closed(server_fd));
        server_fd = -1;
    }
}

TEST_F(startup_faults_test, half_of_the_body_comes_first)
{
    const call_fault fault = {"read", fault_short, 0};
    call_arm(&fault, 1);
    EXPECT_EQ(start(""), 0);
    EXPECT_TRUE(call_failed);
    EXPECT_EQ(session.session_id, 5);
}

TEST_F(startup_faults_test, the_listener_cannot_be_started)
{
    create_error = EAGAIN;
    expect_failure(no_server, {connected,
                               sent,
                               received,
                               {15, "[DEBUG] Create thread failed(ret==0xb).\n"},
                               {11, "[ERROR] failed to creat notification thread \n"}});
    EXPECT_TRUE(is_closed(server_fd));
    server_fd = -1;
}

TEST_F(startup_faults_test, the_schema_database_cannot_be_reached)
{
    fake_redis_set_reachable(false);
    EXPECT_EQ(start(""), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{connected, sent, received}));
    EXPECT_EQ(session.pwd, nullptr);
    EXPECT_EQ(session.prompt, nullptr);
}
