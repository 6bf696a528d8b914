#include "link/exchange_lock.h"

#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include "base/session.h"
#include "base/signals.h"

namespace
{

// A mutex with default attributes cannot tell who holds it.
thread_local bool held_here;

// Counts the requests that want the lock: each raises it before it waits and lowers
// it once it has the lock. It stays raised in between, so that a poll which begins
// only then ends at once, too.
int wanted_fd = -1;

void raise_wanted()
{
    if (wanted_fd >= 0)
        (void)eventfd_write(wanted_fd, 1);
}

void lower_wanted()
{
    eventfd_t one = 0;
    if (wanted_fd >= 0)
        (void)eventfd_read(wanted_fd, &one);
}

int wait_for_lock()
{
    const signal_window window;
    return pthread_mutex_lock(&session.lock);
}

} // namespace

void lock_init()
{
    pthread_mutex_init(&session.lock, nullptr);
}

void exchange_wanted_init()
{
    if (wanted_fd >= 0)
        return;
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE);
    if (fd < FD_SETSIZE)
        wanted_fd = fd;
    else
        close(fd);
}

int exchange_wanted_fd()
{
    return wanted_fd;
}

int exchange_lock()
{
    raise_wanted();
    const int error = wait_for_lock();
    lower_wanted();
    if (error == 0)
        held_here = true;
    return error;
}

int exchange_trylock()
{
    const int error = pthread_mutex_trylock(&session.lock);
    if (error == 0)
        held_here = true;
    return error;
}

int exchange_unlock()
{
    if (!held_here)
        return 0;
    const int error = pthread_mutex_unlock(&session.lock);
    if (error == 0)
        held_here = false;
    return error;
}
