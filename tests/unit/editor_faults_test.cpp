// The line editor on a terminal with each of its system calls failing in turn.
#include "tests/support/call_faults.h"

#include <gtest/gtest.h>
#include <memory>
#include <stdio.h>

#include "tests/support/tinyrl_session.h"

extern "C" {
int __real_select(int count, fd_set *reading, fd_set *writing, fd_set *failing,
                  struct timeval *timeout);
int __real_ioctl(int fd, unsigned long request, ...);
int __real_tcgetattr(int fd, struct termios *settings);
int __real_tcsetattr(int fd, int when, const struct termios *settings);

int __wrap_select(int count, fd_set *reading, fd_set *writing, fd_set *failing,
                  struct timeval *timeout)
{
    const call_fault *fault = call_fault_of("select");
    if (fault == nullptr)
        return __real_select(count, reading, writing, failing, timeout);
    return fault->kind == fault_end ? 0 : -1;
}
int __wrap_ioctl(int fd, unsigned long request, void *argument)
{
    return call_fault_of("ioctl") != nullptr ? -1 : __real_ioctl(fd, request, argument);
}
int __wrap_tcgetattr(int fd, struct termios *settings)
{
    return call_fault_of("tcgetattr") != nullptr ? -1 : __real_tcgetattr(fd, settings);
}
int __wrap_tcsetattr(int fd, int when, const struct termios *settings)
{
    return call_fault_of("tcsetattr") != nullptr ? -1 : __real_tcsetattr(fd, when, settings);
}
}

namespace
{

// A failing call ends the read without a line, or is made up for.
struct editor_fault {
    call_fault fault;
    bool ends_read;
};

const editor_fault faults[] = {
    {{"read", fault_error, EIO}, true},
    {{"read", fault_error, EINTR}, false},
    {{"read", fault_error, EAGAIN}, false},
    {{"read", fault_end, 0}, true},
    {{"select", fault_error, EBADF}, true},
    {{"select", fault_error, EINTR}, false},
    {{"select", fault_error, EAGAIN}, false},
    {{"select", fault_end, 0}, true}, // nothing came in time
    {{"ioctl", fault_error, ENOTTY}, false},
    {{"tcgetattr", fault_error, EIO}, false},
    {{"tcsetattr", fault_error, EINTR}, false},
};

class editor_faults_test : public testing::Test
{
};

} // namespace

TEST_F(editor_faults_test, reading)
{
    const std::string left = "\x1b[D";
    long points = 0;
    for (const editor_fault &one : faults) {
        for (long calls = 0;; calls++) {
            SCOPED_TRACE(std::string(one.fault.function) + " " + std::to_string(calls + 1) + ": " +
                         strerror(one.fault.error));
            tinyrl_session session(40);
            session.remember("before");
            struct termios before = {};
            struct termios after = {};
            ASSERT_EQ(__real_tcgetattr(session.keyboard.slave, &before), 0);
            call_descriptor = fileno(session.input);
            call_arm(&one.fault, calls);
            const std::string line = session.read("ab" + left + "x\x0b\x19\r");
            call_armed = nullptr;
            ASSERT_EQ(__real_tcgetattr(session.keyboard.slave, &after), 0);
            ASSERT_EQ(after.c_lflag, before.c_lflag);
            ASSERT_EQ(after.c_oflag, before.c_oflag);
            ASSERT_EQ(after.c_iflag, before.c_iflag);
            if (!call_failed) {
                ASSERT_EQ(line, "axb");
                ASSERT_GT(calls, 0);
                break;
            }
            points++;
            ASSERT_EQ(line, one.ends_read ? "(none)" : "axb");
            tcflush(session.keyboard.slave, TCIFLUSH);
            ASSERT_EQ(session.read("n\x1b[A\r"), "before");
        }
    }
    EXPECT_GT(points, 50);
    printf("swept: %zu scenarios, %ld failure points of calls: the editor\n", std::size(faults),
           points);
}
