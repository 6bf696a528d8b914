// SIGTERM and SIGPIPE end the shell with a message and status 1.
//
// The handler frees, prints and calls exit, none of which a handler may do at
// an arbitrary moment. SIGTERM is therefore blocked and let in only at the
// waits of the main thread (signal_window), where nothing is half done.
// SIGPIPE comes out of a write: of the socket's, where the same holds, or of
// a flush of standard output, whose stream locks are the writer's own and whose
// reader is gone. A SIGPIPE of the listener is handed to the main thread, for
// the listener cannot know what the main thread is doing with the session.
// Should standard output be stalled, an alarm ends the process all the same.
#include "shell/signals.h"

#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include "link/listener.h"
#include "redisapi.h"
#include "schema/local_entries.h"
#include "shell/session.h"
#include "tinyrl/tinyrl.h"

namespace
{

constexpr unsigned exit_deadline_seconds = 1;

thread_local bool is_main_thread;
sigset_t wait_mask;
volatile sig_atomic_t handed_over;

void give_up_waiting(int)
{
    _exit(EXIT_FAILURE);
}

void arm_exit_deadline()
{
    struct sigaction action = {};
    action.sa_handler = give_up_waiting;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    sigset_t alarm_only;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarm_only, nullptr);
    alarm(exit_deadline_seconds);
}

[[noreturn]] void end_process(int number)
{
    arm_exit_deadline();
    printf("\nReceive signal=%d and exit\n", number);
    free(session.pwd);
    session.pwd = nullptr;
    if (session.prompt != nullptr && session.oneshot != 0) {
        free(session.prompt);
        session.prompt = nullptr;
    }
    if (session.tinyrl != nullptr)
        tinyrl_delete(session.tinyrl);
    if (session.redis != nullptr)
        redis_freeconn(session.redis);
    local_entries_forget(nullptr, nullptr);
    if (listener_park_soon() == 0)
        exit(EXIT_FAILURE);
    fflush(stdout);
    _exit(EXIT_FAILURE);
}

} // namespace

void signal_handler(int number)
{
    if (!is_main_thread) {
        handed_over = number;
        kill(getpid(), SIGTERM); // which this thread has blocked
        return;
    }
    end_process(handed_over != 0 ? handed_over : number);
}

void signal_init()
{
    is_main_thread = true;

    struct sigaction action = {};
    action.sa_handler = signal_handler;
    sigfillset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGPIPE, &action, nullptr);

    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    sigdelset(&mask, SIGPIPE);
    sigdelset(&mask, SIGTERM);
    wait_mask = mask;
    sigaddset(&mask, SIGTERM);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

const sigset_t *signal_wait_mask()
{
    return &wait_mask;
}

signal_window::signal_window() : opened(is_main_thread), before{}
{
    if (opened)
        pthread_sigmask(SIG_SETMASK, &wait_mask, &before);
}

signal_window::~signal_window()
{
    if (opened)
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
