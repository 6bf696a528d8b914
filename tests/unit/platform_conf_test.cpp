#include "conf_agent.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/other_user.h"

namespace
{

bool is_patient = true;

} // namespace

// A test cannot wait for as long as an operator.
extern "C" int setsockopt(int descriptor, int level, int name, const void *value,
                          socklen_t size) noexcept
{
    const timeval soon = {0, 50000};
    return static_cast<int>(
        syscall(SYS_setsockopt, descriptor, level, name, is_patient ? value : &soon, size));
}

struct conf_agent_test : testing::Test {
    void SetUp() override
    {
        char name[] = "/tmp/conf_agent_testXXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory = name;
        path = directory + "/s";
    }
    void TearDown() override
    {
        unsetenv("TARND_SOCKET");
        if (listener >= 0)
            close(listener);
        unlink(path.c_str());
        rmdir(directory.c_str());
    }
    void listen_there(int backlog)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        ASSERT_LT(path.size(), sizeof address.sun_path);
        memcpy(address.sun_path, path.c_str(), path.size() + 1);
        listener = socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_GE(listener, 0);
        ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        ASSERT_EQ(listen(listener, backlog), 0);
    }
    std::string directory;
    std::string path;
    int listener = -1;
};

TEST_F(conf_agent_test, connects_to_the_named_socket)
{
    listen_there(1);
    setenv("TARND_SOCKET", path.c_str(), 1);
    int near = conf_agent_init();
    ASSERT_GE(near, 0);
    int far = accept(listener, nullptr, nullptr);
    ASSERT_GE(far, 0);
    EXPECT_EQ(write(far, "hello", 5), 5);
    char text[8] = {};
    EXPECT_EQ(read(near, text, sizeof text), 5);
    EXPECT_STREQ(text, "hello");
    EXPECT_EQ(fcntl(near, F_GETFD), FD_CLOEXEC);
    timeval limit = {1, 1};
    socklen_t size = sizeof limit;
    EXPECT_EQ(getsockopt(near, SOL_SOCKET, SO_SNDTIMEO, &limit, &size), 0);
    EXPECT_EQ(limit.tv_sec + limit.tv_usec, 0);
    close(near);
    close(far);
}

TEST_F(conf_agent_test, nobody_listens)
{
    listen_there(1);
    close(listener);
    listener = -1;
    setenv("TARND_SOCKET", path.c_str(), 1);
    errno = 0;
    EXPECT_LT(conf_agent_init(), 0);
    EXPECT_EQ(errno, ECONNREFUSED);
}

TEST_F(conf_agent_test, no_such_socket)
{
    setenv("TARND_SOCKET", path.c_str(), 1);
    errno = 0;
    EXPECT_LT(conf_agent_init(), 0);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(conf_agent_test, a_path_that_no_socket_can_have)
{
    // 107 characters are the longest path; 108 are one too many.
    std::string longest = "/" + std::string(106, 'x');
    setenv("TARND_SOCKET", longest.c_str(), 1);
    errno = 0;
    EXPECT_LT(conf_agent_init(), 0);
    EXPECT_EQ(errno, ENOENT);

    setenv("TARND_SOCKET", (longest + "x").c_str(), 1);
    errno = 0;
    EXPECT_LT(conf_agent_init(), 0);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(conf_agent_test, a_failure_leaks_no_descriptor)
{
    setenv("TARND_SOCKET", path.c_str(), 1);
    int before = dup(0);
    ASSERT_GE(before, 0);
    close(before);
    EXPECT_LT(conf_agent_init(), 0);
    int after = dup(0);
    EXPECT_EQ(after, before);
    close(after);
}

TEST_F(conf_agent_test, a_daemon_of_somebody_else_is_refused)
{
    if (getuid() != 0)
        GTEST_SKIP() << "only root can be another user";
    other_listener other;
    other.start(directory, path);
    setenv("TARND_SOCKET", path.c_str(), 1);
    int before = dup(0);
    close(before);
    errno = 0;
    EXPECT_LT(conf_agent_init(), 0);
    EXPECT_EQ(errno, EACCES);
    int after = dup(0);
    EXPECT_EQ(after, before);
    close(after);
    EXPECT_EQ(as_other_user([] { return conf_agent_init() >= 0 ? 1 : 0; }), 1);
    other.stop();
}

TEST_F(conf_agent_test, roots_daemon_serves_everybody)
{
    if (getuid() != 0)
        GTEST_SKIP() << "only root can be another user";
    ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
    listen_there(1);
    ASSERT_EQ(chmod(path.c_str(), 0777), 0);
    setenv("TARND_SOCKET", path.c_str(), 1);
    EXPECT_EQ(as_other_user([] { return conf_agent_init() >= 0 ? 1 : 0; }), 1);
}

namespace
{

volatile sig_atomic_t alarms;
int listener_of_alarm;

// Makes room in the full queue when the connect has been interrupted twice.
void count_alarm(int)
{
    alarms = alarms + 1;
    if (alarms == 2)
        close(accept(listener_of_alarm, nullptr, nullptr));
}

} // namespace

TEST_F(conf_agent_test, a_signal_does_not_end_the_attempt)
{
    listen_there(0);
    setenv("TARND_SOCKET", path.c_str(), 1);
    int first = conf_agent_init(); // fills the queue
    ASSERT_GE(first, 0);

    listener_of_alarm = listener;
    alarms = 0;
    struct sigaction action = {};
    action.sa_handler = count_alarm; // without SA_RESTART
    struct sigaction before;
    ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
    const itimerval every_50_ms = {{0, 50000}, {0, 50000}};
    setitimer(ITIMER_REAL, &every_50_ms, nullptr);
    int second = conf_agent_init();
    int cause = errno;
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);

    EXPECT_GE(second, 0) << strerror(cause);
    EXPECT_GE(alarms, 2);
    close(first);
    close(second);
}

TEST_F(conf_agent_test, who_never_accepts_is_given_up)
{
    listen_there(0);
    setenv("TARND_SOCKET", path.c_str(), 1);
    int first = conf_agent_init(); // fills the queue
    ASSERT_GE(first, 0);
    is_patient = false;
    errno = 0;
    EXPECT_LT(conf_agent_init(), 0);
    EXPECT_EQ(errno, EAGAIN);
    is_patient = true;
    close(first);
}

TEST(conf_dbg_enable_test, always_succeeds)
{
    EXPECT_EQ(conf_dbg_enable(7, 0), 0);
    EXPECT_EQ(conf_dbg_enable(-1, 1), 0);
}
