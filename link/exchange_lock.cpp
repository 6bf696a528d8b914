#include "link/exchange_lock.h"

#include <pthread.h>

#include "base/session.h"
#include "base/signals.h"

namespace
{

// A mutex with default attributes cannot tell who holds it.
thread_local bool held_here;

} // namespace

void lock_init()
{
    pthread_mutex_init(&session.lock, nullptr);
}

int exchange_lock()
{
    const signal_window window;
    const int error = pthread_mutex_lock(&session.lock);
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
