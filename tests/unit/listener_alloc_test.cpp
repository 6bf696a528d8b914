// The listener with each of its allocations failing in turn. Its thread is let
// go by a lock that cannot be released, once it has read all there is.
#include "tests/support/alloc_faults.h"

#include <atomic>
#include <libxml/xmlerror.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/ioctl.h>

#include "link/listener.h"
#include "tests/support/shell_world.h"

namespace
{

std::atomic<bool> is_over = false;

// Nothing is left to be read.
bool is_all_read()
{
    int left = 0;
    return ioctl(server_fd, FIONREAD, &left) == 0 && left == 0;
}

} // namespace

extern "C" {
int __real_pthread_mutex_unlock(pthread_mutex_t *mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t *mutex)
{
    const int error = __real_pthread_mutex_unlock(mutex);
    return mutex == &session.lock && is_over ? EPERM : error;
}
int __real_select(int count, fd_set *reading, fd_set *writing, fd_set *failing,
                  struct timeval *timeout);
int __wrap_select(int count, fd_set *reading, fd_set *writing, fd_set *failing, struct timeval *)
{
    struct timeval at_once = {};
    return __real_select(count, reading, writing, failing, &at_once);
}
unsigned __wrap_sleep(unsigned)
{
    is_over = is_all_read();
    return 0;
}
}

namespace
{

const std::string first =
    "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><a/></notification>";
const std::string second =
    "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><b/></notification>";

std::string printed_form(const char *inner)
{
    return "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">\n  <" +
           std::string(inner) + "/>\n  </notification>\n";
}

struct armed_run {
    long calls;
    bool failed;
    void *result;
    bool counts_libxml2;
};

void *run_listener(void *argument)
{
    auto *run = static_cast<armed_run *>(argument);
    alloc_fails_once = true;
    alloc_failed = false;
    alloc_counts_libxml2 = run->counts_libxml2;
    alloc_calls_left = run->calls;
    run->result = notify_listener(nullptr);
    alloc_calls_left = -1;
    run->failed = alloc_failed;
    xmlResetLastError();
    return nullptr;
}

class listener_alloc_test : public shell_world
{
  protected:
    // Lets the listener read both notifications; returns what it printed.
    std::string listen(armed_run *run)
    {
        lock_init();
        connect().push(first).push(second).start();
        server->finish();
        is_over = false;
        std::string printed = printed_by([&] {
            pthread_t thread;
            ASSERT_EQ(pthread_create(&thread, nullptr, run_listener, run), 0);
            ASSERT_EQ(pthread_join(thread, nullptr), 0);
        });
        is_over = false;
        disconnect();
        return printed;
    }

    void sweep(bool in_libxml2)
    {
        armed_run idle = {1000000, false, &idle, false};
        const std::string both = printed_form("a") + printed_form("b");
        ASSERT_EQ(listen(&idle), both);
        const long blocks = alloc_blocks;
        long points = 0;
        for (armed_run run = {0, true, &run, in_libxml2}; run.failed; run.calls++) {
            SCOPED_TRACE("allocation " + std::to_string(run.calls + 1));
            run.result = &run;
            const std::string printed = listen(&run);
            // The message that met the failure is lost, whole; the other is not.
            ASSERT_TRUE(printed == both || printed == printed_form("a") ||
                        printed == printed_form("b"))
                << printed;
            ASSERT_EQ(run.result, nullptr);
            ASSERT_EQ(exchange_trylock(), 0);
            exchange_unlock();
            ASSERT_EQ(alloc_blocks, blocks);
            points += run.failed ? 1 : 0;
        }
        EXPECT_GT(points, 0);
        printf("swept: 1 scenario, %ld failure points of allocations: the listener\n", points);
    }
};

} // namespace

TEST_F(listener_alloc_test, a_message_is_lost_and_the_next_is_not)
{
    sweep(false);
}

TEST_F(listener_alloc_test, the_same_inside_the_parser)
{
    sweep(true);
}
