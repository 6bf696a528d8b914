// A request that comes while the listener polls. Where a poll never times out, it
// would hang if the listener were not told. Each test runs in a process of its own,
// which does not outlive an alarm.
#include "link/listener.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <sys/wait.h>

#include "link/exchange.h"
#include "link/exchange_lock.h"
#include "link/server_session.h"
#include "link/xml_print.h"
#include "tests/support/shell_world.h"

namespace
{

constexpr unsigned alarm_seconds = 120;

// Something that one thread tells another, as often as it happens.
class news
{
  public:
    news()
    {
        sem_init(&count, 0, 0);
    }

    void tell()
    {
        sem_post(&count);
    }

    void await()
    {
        while (sem_wait(&count) != 0)
            ;
    }

  private:
    sem_t count;
};

bool times_out = false;               // a poll ends by itself
void (*before_poll)() = nullptr;      // called by the listener, which holds the lock
news polls, rests, awake, raised;     // the listener is about to; it may go on; a request
std::vector<std::string> done;        // by the listener; read while it rests
pthread_t main_thread;                // the requester
int lock_error = 0;                   // of the exchange lock; 0 lets it work
int eventfd_calls = 0, closed_fd = 0; // closed_fd is the one closed last
int (*eventfd_played)() = nullptr;    // in place of the true one

} // namespace

extern "C" {
int __real_select(int count, fd_set *reading, fd_set *writing, fd_set *failing,
                  struct timeval *timeout);
int __wrap_select(int count, fd_set *reading, fd_set *writing, fd_set *failing,
                  struct timeval *timeout)
{
    polls.tell();
    if (before_poll != nullptr)
        before_poll();
    return __real_select(count, reading, writing, failing, times_out ? timeout : nullptr);
}

unsigned __wrap_sleep(unsigned seconds)
{
    done.push_back("sleep " + std::to_string(seconds));
    rests.tell();
    awake.await();
    return 0;
}

// xml_print(const char *)
void __real__Z9xml_printPKc(const char *message);
void __wrap__Z9xml_printPKc(const char *message)
{
    if (!pthread_equal(pthread_self(), main_thread))
        done.emplace_back("print");
    __real__Z9xml_printPKc(message);
}

int __real_pthread_mutex_lock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    return mutex == &session.lock && lock_error != 0 ? lock_error
                                                     : __real_pthread_mutex_lock(mutex);
}

int __real_eventfd(unsigned count, int flags);
int __wrap_eventfd(unsigned count, int flags)
{
    eventfd_calls++;
    return eventfd_played != nullptr ? eventfd_played() : __real_eventfd(count, flags);
}

int __real_eventfd_write(int fd, eventfd_t value);
int __wrap_eventfd_write(int fd, eventfd_t value)
{
    const int result = __real_eventfd_write(fd, value);
    raised.tell();
    return result;
}

int __real_close(int fd);
int __wrap_close(int fd)
{
    closed_fd = fd;
    return __real_close(fd);
}
}

namespace
{

using call_list = std::vector<std::string>;

const std::string session_reply =
    "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><session-id "
    "xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">5</session-id></rpc-reply>";

std::string notification(int number)
{
    return "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><n>" +
           std::to_string(number) + "</n></notification>";
}

std::string printed_notification(int number)
{
    return "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">\n  <n>\n    " +
           std::to_string(number) + "\n  </n>\n</notification>\n";
}

bool is_readable(int fd, int milliseconds)
{
    struct pollfd watched = {fd, POLLIN, 0};
    return poll(&watched, 1, milliseconds) == 1;
}

// Lets a poll begin only when both are there: a frame and a request that waits.
void await_both()
{
    is_readable(server_fd, -1);
    is_readable(exchange_wanted_fd(), -1);
}

int none_left()
{
    errno = EMFILE;
    return -1;
}

int beyond_a_set()
{
    return FD_SETSIZE;
}

class listener_wanted_test : public shell_world
{
  protected:
    // Runs a test's body in a child, whose threads die with it; what the body
    // expects decides the child's status.
    void in_child(const std::function<void()> &body)
    {
        fflush(stdout);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(alarm_seconds);
            main_thread = pthread_self();
            body();
            server.reset();
            fflush(stdout);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }

    // Starts the listener, and waits until it polls.
    static void start_listener()
    {
        ASSERT_EQ(thread_create(notify_listener, nullptr), 0);
        polls.await();
    }

    static void request(const char *expected)
    {
        reply_text reply;
        ASSERT_EQ(send_text("<rpc/>"), 0);
        ASSERT_EQ(msg_wait_reply(&reply), 0);
        EXPECT_STREQ(reply.text.get(), expected);
    }
};

TEST_F(listener_wanted_test, a_request_ends_the_poll)
{
    in_child([this] {
        server = std::make_unique<scripted_server>(fake_conf_listen());
        server->answer(session_reply).answer("<ok/>").answer("<data/>").start();
        ASSERT_EQ(server_connect(), 0);
        polls.await();
        request("<ok/>");
        rests.await();
        EXPECT_EQ(done, (call_list{"sleep 1"}));
        // The next poll is a poll again, until the next request.
        awake.tell();
        polls.await();
        EXPECT_FALSE(is_readable(exchange_wanted_fd(), 0));
        request("<data/>");
        rests.await();
        EXPECT_EQ(done, (call_list{"sleep 1", "sleep 1"}));
    });
}

TEST_F(listener_wanted_test, the_end_of_the_process_does_not_wait_for_the_poll)
{
    in_child([this] {
        connect();
        exchange_wanted_init();
        start_listener();
        listener_park();
        EXPECT_EQ(listener_park_soon(), 0);
    });
}

// However often it is sent away: it reads what is there, prints it, and rests.
TEST_F(listener_wanted_test, a_frame_that_is_there_is_read_first)
{
    constexpr int rounds = 200;
    in_child([this] {
        captured_output output;
        connect();
        for (int number = 0; number < rounds; number++)
            server->push(notification(number)).answer("<ok/>");
        server->start();
        before_poll = await_both;
        exchange_wanted_init();
        start_listener();
        std::string printed;
        call_list expected;
        for (int number = 0; number < rounds; number++) {
            request("<ok/>");
            rests.await();
            printed += printed_notification(number);
            expected.insert(expected.end(), {"print", "sleep 1"});
            ASSERT_EQ(done, expected);
            if (number + 1 < rounds) {
                awake.tell();
                polls.await();
            }
        }
        EXPECT_EQ(output.text(), printed);
    });
}

TEST_F(listener_wanted_test, a_frame_that_is_no_notification_is_not_the_requests)
{
    in_child([this] {
        captured_output output;
        connect().push("<stray/>").answer("<ok/>").start();
        before_poll = await_both;
        exchange_wanted_init();
        start_listener();
        request("<ok/>");
        rests.await();
        EXPECT_EQ(done, (call_list{"sleep 1"}));
        EXPECT_EQ(output.text(), "");
    });
}

TEST_F(listener_wanted_test, without_a_descriptor_the_poll_times_out)
{
    in_child([this] {
        connect().answer("<ok/>").start();
        eventfd_played = none_left;
        times_out = true;
        exchange_wanted_init();
        EXPECT_EQ(exchange_wanted_fd(), -1);
        start_listener();
        request("<ok/>");
        rests.await();
        EXPECT_EQ(done, (call_list{"sleep 1"}));
    });
}

TEST_F(listener_wanted_test, a_descriptor_that_a_set_cannot_hold_is_closed)
{
    in_child([] {
        eventfd_played = beyond_a_set;
        exchange_wanted_init();
        EXPECT_EQ(exchange_wanted_fd(), -1);
        EXPECT_EQ(closed_fd, FD_SETSIZE);
    });
}

TEST_F(listener_wanted_test, is_made_once_and_for_this_process_only)
{
    in_child([] {
        EXPECT_EQ(exchange_wanted_fd(), -1);
        exchange_wanted_init();
        const int fd = exchange_wanted_fd();
        EXPECT_GE(fd, 0);
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
        exchange_wanted_init();
        EXPECT_EQ(exchange_wanted_fd(), fd);
        EXPECT_EQ(eventfd_calls, 1);
    });
}

TEST_F(listener_wanted_test, is_raised_while_anybody_waits)
{
    in_child([] {
        exchange_wanted_init();
        ASSERT_EQ(exchange_lock(), 0);
        raised.await();
        EXPECT_FALSE(is_readable(exchange_wanted_fd(), 0));
        news locked, go_on;
        const auto wait = [&] {
            EXPECT_EQ(exchange_lock(), 0);
            locked.tell();
            go_on.await();
            exchange_unlock();
        };
        std::thread one(wait), other(wait);
        raised.await();
        raised.await();
        EXPECT_TRUE(is_readable(exchange_wanted_fd(), 0));
        exchange_unlock();
        locked.await();
        EXPECT_TRUE(is_readable(exchange_wanted_fd(), 0));
        go_on.tell();
        locked.await();
        EXPECT_FALSE(is_readable(exchange_wanted_fd(), 0));
        go_on.tell();
        one.join();
        other.join();
    });
}

TEST_F(listener_wanted_test, is_lowered_when_the_lock_cannot_be_taken)
{
    in_child([] {
        exchange_wanted_init();
        lock_error = EINVAL;
        EXPECT_EQ(exchange_lock(), EINVAL);
        raised.await();
        EXPECT_FALSE(is_readable(exchange_wanted_fd(), 0));
    });
}

} // namespace
