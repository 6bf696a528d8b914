// What the listener asks of the system, call by call: each test runs its body
// in a process of its own until it has made so many calls.
#include "link/listener.h"

#include <algorithm>
#include <errno.h>
#include <sys/select.h>
#include <sys/wait.h>

#include "link/exchange.h"
#include "link/xml_print.h"
#include "tests/support/shell_world.h"

namespace
{

using call_list = std::vector<std::string>;

call_list calls;
call_list expected;
int select_error = 0;
int lock_error = 0;

// Whether somebody holds the exchange lock.
std::string lock_state()
{
    if (pthread_mutex_trylock(&session.lock) != 0)
        return " locked";
    pthread_mutex_unlock(&session.lock);
    return " free";
}

void record(const std::string &call)
{
    calls.push_back(call + lock_state());
    if (calls.size() < expected.size())
        return;
    if (calls == expected)
        _exit(0);
    for (const std::string &one : calls)
        fprintf(stderr, "%s\n", one.c_str());
    _exit(1);
}

// The members of a set that select was given.
std::string members(const fd_set *set)
{
    std::string text;
    for (int fd = 0; set != nullptr && fd < FD_SETSIZE; fd++) {
        if (FD_ISSET(fd, set))
            text += (text.empty() ? "" : ",") + std::to_string(fd - server_fd);
    }
    return "{" + text + "}";
}

} // namespace

extern "C" {
int __real_select(int count, fd_set *reading, fd_set *writing, fd_set *failing,
                  struct timeval *timeout);
int __wrap_select(int count, fd_set *reading, fd_set *writing, fd_set *failing,
                  struct timeval *timeout)
{
    record("select " + std::to_string(count - server_fd) + " " + members(reading) +
           members(writing) + members(failing) + " " + std::to_string(timeout->tv_sec) + "s " +
           std::to_string(timeout->tv_usec) + "us");
    if (select_error != 0) {
        errno = select_error;
        return -1;
    }
    struct timeval at_once = {};
    return __real_select(count, reading, writing, failing, &at_once);
}

unsigned __wrap_sleep(unsigned seconds)
{
    record("sleep " + std::to_string(seconds));
    return 0;
}

int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    return mutex == &session.lock && lock_error != 0 ? lock_error
                                                     : __real_pthread_mutex_lock(mutex);
}

// xml_print(const char *)
void __wrap__Z9xml_printPKc(const char *message)
{
    record("print " + std::to_string(std::count(message, message + strlen(message), '<')));
}
}

namespace
{

const std::string notification =
    "<notification "
    "xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><e></e></notification>";

const std::string looked = "select 1 {0}{}{} 0s 100000us locked";
const std::string rested = "sleep 1 free";
const std::string printed = "print 4 free";

class listener_calls_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        calls.clear();
        select_error = 0;
        lock_error = 0;
    }

    // Everything that the daemon sends is there before the listener looks.
    void sent(const std::vector<std::string> &bytes)
    {
        connect();
        for (const std::string &one : bytes)
            server->push_raw(one);
        server->start();
        server->finish();
    }

    static void makes(const call_list &wanted)
    {
        fflush(stdout);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            expected = wanted;
            notify_listener(nullptr);
            _exit(2);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
};

TEST_F(listener_calls_test, looks_once_a_second)
{
    sent({});
    makes({looked, rested, looked, rested, looked, rested});
}

TEST_F(listener_calls_test, steps_back_for_two_seconds_from_a_request)
{
    sent({frame_bytes(notification)});
    ASSERT_EQ(exchange_lock(), 0);
    makes({"sleep 2 locked", "sleep 2 locked", "sleep 2 locked"});
    exchange_unlock();
}

TEST_F(listener_calls_test, gives_the_lock_back_before_it_prints_and_looks_again_at_once)
{
    sent({frame_bytes(notification), frame_bytes(notification)});
    makes({looked, printed, looked, printed, looked, rested, looked});
}

TEST_F(listener_calls_test, drops_other_frames_and_looks_again_at_once)
{
    sent(
        {frame_bytes("<ok/>"), frame_bytes("rubbish"), frame_bytes(""), frame_bytes(notification)});
    makes({looked, looked, looked, looked, printed, looked, rested});
}

TEST_F(listener_calls_test, rests_after_a_frame_that_cannot_be_read)
{
    const std::string too_long("\xff\xba\xdc\xfe\xff\xff\xff\xff\0\0\0\0", 12);
    sent({too_long, frame_bytes(notification)});
    makes({looked, rested, looked, printed, looked, rested});
}

TEST_F(listener_calls_test, rests_when_the_daemon_has_gone)
{
    connect().hang_up();
    server->start();
    server->finish();
    makes({looked, rested, looked, rested});
}

TEST_F(listener_calls_test, rests_when_it_cannot_look)
{
    sent({frame_bytes(notification)});
    select_error = EINTR;
    makes({looked, rested, looked, rested});
}

TEST_F(listener_calls_test, rests_without_a_descriptor_to_look_at)
{
    for (const int fd : {-1, FD_SETSIZE, FD_SETSIZE + 7}) {
        server_fd = fd;
        makes({rested, rested, rested});
    }
    server_fd = -1;
}

TEST_F(listener_calls_test, a_request_that_cannot_take_the_lock)
{
    connect();
    lock_error = EINVAL;
    captured_log_take();
    EXPECT_EQ(printed_by([] { EXPECT_EQ(send_text("x"), -1); }), "pthread mutex lock error!\n\t");
    lock_error = 0;
    EXPECT_EQ(captured_log_take(), (log_lines{{14, "[INFO] Send a message to tarnd.\n"}}));
    EXPECT_EQ(session.send_seq, 1);
    // Nothing was written, and the lock is not held.
    server->expect();
    server->start();
    EXPECT_EQ(send_text("y"), 0);
    exchange_unlock();
    auto frames = server->finish();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].sequence, 1);
    EXPECT_EQ(frames[0].body, std::string("y\0", 2));
}

} // namespace
