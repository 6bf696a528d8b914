#include "link/listener.h"

#include <errno.h>
#include <pthread.h>
#include <sys/select.h>
#include <time.h>
#include <unistd.h>

#include "base/log.h"
#include "base/session.h"
#include "base/signals.h"
#include "link/exchange.h"
#include "link/exchange_lock.h"
#include "link/xml_print.h"
#include "link/xml_root.h"

namespace
{

constexpr unsigned busy_seconds = 2;
constexpr unsigned idle_seconds = 1;
constexpr suseconds_t poll_microseconds = 100000;
constexpr long park_nanoseconds = 200000000;
constexpr long second_nanoseconds = 1000000000;

// Held by the listener while it handles a message, and by the main thread from
// listener_park on; it tells a thread that holds it already.
pthread_mutex_t message_lock = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;

// What a poll has found; both may be so.
struct poll_result {
    bool is_readable; // a frame is there, or the end of the stream
    bool is_wanted;   // a request waits for the lock
};

// A descriptor that an fd_set cannot hold is never readable.
poll_result poll_socket()
{
    if (server_fd < 0 || server_fd >= FD_SETSIZE)
        return {false, false};
    const int wanted_fd = exchange_wanted_fd();
    FD_ZERO(&session.listen_fds);
    FD_SET(server_fd, &session.listen_fds);
    if (wanted_fd >= 0)
        FD_SET(wanted_fd, &session.listen_fds);
    struct timeval timeout = {0, poll_microseconds};
    const int highest = wanted_fd > server_fd ? wanted_fd : server_fd;
    if (select(highest + 1, &session.listen_fds, nullptr, nullptr, &timeout) < 1)
        return {false, false};
    return {FD_ISSET(server_fd, &session.listen_fds),
            wanted_fd >= 0 && FD_ISSET(wanted_fd, &session.listen_fds)};
}

void print_if_notification(const reply_text &message)
{
    pthread_mutex_lock(&message_lock);
    if (is_notification(message.text.get(), message.length) != 0)
        xml_print(message.text.get());
    pthread_mutex_unlock(&message_lock);
}

} // namespace

int thread_create(void *(*body)(void *), void *argument)
{
    if (body == nullptr) {
        log_debug("[DEBUG] The input callback function is NULL.\n");
        return -1;
    }
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    const int error = pthread_create(&thread, &attributes, body, argument);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        log_debug("[DEBUG] Create thread failed(ret==0x%x).\n", static_cast<unsigned>(error));
        return -1;
    }
    return 0;
}

// Shared with the main thread: server_fd and exchange_wanted_fd (set before this
// thread starts), session.lock, the socket (read only while the lock is held), the
// system log and standard output (both lock themselves), libxml2 (set up once).
// session.listen_fds is this thread's own from here on. A message is handled
// under message_lock.
//
// A request that comes ends the poll, and then this thread rests, so that it does
// not take the lock again before the request has it: one that comes while a frame is
// read or printed may see one more frame read before its turn, never two. Nor do
// requests without a pause silence the device: a frame that is there is read first,
// whoever waits, and a request prints every notification that comes before its reply.
// After the last of them this thread has its turn.
void *notify_listener(void *)
{
    for (;;) {
        if (exchange_trylock() != 0) {
            sleep(busy_seconds);
            continue;
        }
        reply_text message;
        const poll_result found = poll_socket();
        const bool received = found.is_readable && msg_recv(&message) == 0;
        if (exchange_unlock() != 0)
            return nullptr;
        if (received)
            print_if_notification(message);
        if (!received || found.is_wanted)
            sleep(idle_seconds);
    }
}

void listener_park()
{
    const signal_window window;
    pthread_mutex_lock(&message_lock);
}

int listener_park_soon()
{
    struct timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_nsec += park_nanoseconds;
    if (deadline.tv_nsec >= second_nanoseconds) {
        deadline.tv_nsec -= second_nanoseconds;
        deadline.tv_sec++;
    }
    const int error = pthread_mutex_timedlock(&message_lock, &deadline);
    return error == EDEADLK ? 0 : error;
}
