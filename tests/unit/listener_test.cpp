// The listener thread. It never ends by itself, so each test runs in a process
// of its own.
#include "link/listener.h"

#include <atomic>
#include <chrono>
#include <errno.h>
#include <pthread.h>
#include <sys/wait.h>

#include "link/exchange.h"
#include "link/server_session.h"
#include "tests/support/shell_world.h"

namespace
{

// What the library's functions were told to fail with; 0 lets them work.
std::atomic<int> create_error = 0;
std::atomic<int> unlock_error = 0;

} // namespace

extern "C" {
int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                          void *(*body)(void *), void *argument)
{
    int detached = -1;
    if (attributes != nullptr)
        pthread_attr_getdetachstate(attributes, &detached);
    EXPECT_EQ(detached, PTHREAD_CREATE_DETACHED);
    return create_error != 0 ? create_error.load()
                             : __real_pthread_create(thread, attributes, body, argument);
}
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    return mutex == &session.lock && unlock_error != 0 ? unlock_error.load()
                                                       : __real_pthread_mutex_unlock(mutex);
}
}

namespace
{

using namespace std::chrono_literals;

const std::string notification =
    "<notification "
    "xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><e></e></notification>";

const std::string printed_notification =
    "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">\n  <e>\n  </e>\n"
    "</notification>\n";

const std::string session_reply =
    "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><session-id "
    "xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">5</session-id></rpc-reply>";

class listener_test : public shell_world
{
  protected:
    // Runs a test's body in a child, whose threads die with it; what the body
    // expects decides the child's status.
    void in_child(const std::function<void()> &body)
    {
        fflush(stdout);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            body();
            server.reset();
            fflush(stdout);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }

    static int start_listener()
    {
        return thread_create(notify_listener, nullptr);
    }

    // Waits until the text was printed or the time is over.
    static bool prints(const captured_output &output, const std::string &text,
                       std::chrono::milliseconds time)
    {
        auto end = std::chrono::steady_clock::now() + time;
        while (std::chrono::steady_clock::now() < end) {
            if (output.text() == text)
                return true;
            std::this_thread::sleep_for(20ms);
        }
        EXPECT_EQ(output.text(), text);
        return false;
    }
};

TEST_F(listener_test, prints_a_notification_soon)
{
    in_child([this] {
        captured_output output;
        connect().push(notification).push(notification);
        ASSERT_EQ(start_listener(), 0);
        std::this_thread::sleep_for(300ms); // the listener is idle by now
        server->start();
        EXPECT_TRUE(prints(output, printed_notification + printed_notification, 2500ms));
    });
}

TEST_F(listener_test, drops_what_is_no_notification_and_goes_on_at_once)
{
    in_child([this] {
        captured_output output;
        connect();
        for (int i = 0; i < 50; i++)
            server->push("<rpc-reply/>").push("rubbish").push("");
        server->push(notification);
        server->start();
        server->finish();
        ASSERT_EQ(start_listener(), 0);
        EXPECT_TRUE(prints(output, printed_notification, 5000ms));
    });
}

TEST_F(listener_test, reads_nothing_while_a_request_is_under_way)
{
    in_child([this] {
        captured_output output;
        connect().expect().push("<ok/>");
        ASSERT_EQ(exchange_lock(), 0);
        ASSERT_EQ(start_listener(), 0);
        server->start();
        exchange_unlock();
        ASSERT_EQ(send_text("<rpc/>"), 0);
        std::this_thread::sleep_for(3500ms);
        reply_text reply;
        ASSERT_EQ(msg_wait_reply(&reply), 0);
        EXPECT_STREQ(reply.text.get(), "<ok/>");
    });
}

TEST_F(listener_test, lives_on_after_a_bad_frame)
{
    in_child([this] {
        captured_output output;
        const std::string too_long("\xff\xba\xdc\xfe\xff\xff\xff\xff\0\0\0\0", 12);
        connect().push_raw(too_long).push(notification);
        server->start();
        server->finish();
        ASSERT_EQ(start_listener(), 0);
        std::this_thread::sleep_for(500ms); // it rests for a second
        ASSERT_EQ(exchange_trylock(), 0);
        exchange_unlock();
        EXPECT_EQ(output.text(), "");
        EXPECT_TRUE(prints(output, printed_notification, 2500ms));
    });
}

TEST_F(listener_test, a_closed_socket_does_not_make_it_spin)
{
    in_child([this] {
        connect().hang_up();
        server->start();
        server->finish();
        ASSERT_EQ(start_listener(), 0);
        std::this_thread::sleep_for(1500ms);
        struct timespec used = {};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
        EXPECT_EQ(used.tv_sec, 0);
        ASSERT_EQ(exchange_lock(), 0);
        exchange_unlock();
    });
}

TEST_F(listener_test, a_descriptor_beyond_the_set_is_never_readable)
{
    in_child([] {
        captured_output output;
        server_fd = FD_SETSIZE + 5;
        ASSERT_EQ(start_listener(), 0);
        std::this_thread::sleep_for(300ms);
        ASSERT_EQ(exchange_lock(), 0);
        exchange_unlock();
    });
}

TEST_F(listener_test, ends_when_the_lock_cannot_be_released)
{
    in_child([this] {
        captured_output output;
        connect().push(notification);
        server->start();
        server->finish();
        unlock_error = EPERM;
        EXPECT_EQ(notify_listener(nullptr), nullptr);
        unlock_error = 0;
        EXPECT_EQ(output.text(), "");
        exchange_unlock();
    });
}

TEST_F(listener_test, is_started_by_connecting)
{
    in_child([this] {
        captured_output output;
        server = std::make_unique<scripted_server>(fake_conf_listen());
        server->answer(session_reply).push(notification);
        server->start();
        ASSERT_EQ(server_connect(), 0);
        EXPECT_TRUE(prints(output, printed_notification, 2500ms));
    });
}

TEST_F(listener_test, a_thread_that_cannot_be_made)
{
    in_child([this] {
        create_error = EAGAIN;
        EXPECT_EQ(start_listener(), -1);
        EXPECT_EQ(captured_log_take(),
                  (log_lines{{15, "[DEBUG] Create thread failed(ret==0xb).\n"}}));
        server = std::make_unique<scripted_server>(fake_conf_listen());
        server->answer(session_reply);
        server->start();
        EXPECT_EQ(server_connect(), -1);
        log_lines lines = captured_log_take();
        ASSERT_EQ(lines.size(), 5U);
        EXPECT_EQ(lines[3],
                  std::make_pair(15, std::string("[DEBUG] Create thread failed(ret==0xb).\n")));
        EXPECT_EQ(lines[4], std::make_pair(
                                11, std::string("[ERROR] failed to creat notification thread \n")));
        EXPECT_LT(fcntl(server_fd, F_GETFD), 0);
    });
}

TEST_F(listener_test, lock_failures_of_a_request_are_printed)
{
    in_child([this] {
        connect().expect().push("<ok/>").push("<ok/>");
        server->start();
        unlock_error = EPERM;
        reply_text reply;
        EXPECT_EQ(printed_by([&] {
                      EXPECT_EQ(send_text("<rpc/>"), 0);
                      EXPECT_EQ(msg_wait_reply(&reply), 0);
                  }),
                  "pthread mutex unlock error!\n\t");
        EXPECT_STREQ(reply.text.get(), "<ok/>");
    });
}

} // namespace
