// SIGTERM and SIGPIPE end the shell with a message and status 1.
//
// The handler frees, prints and calls exit, none of which a handler may do at
// an arbitrary moment. The main thread therefore blocks both and lets them in
// only at its waits (signal_window), where nothing is half done; a SIGPIPE that
// its own output raises is pending until then.
// A signal from outside that the main thread blocks goes to the listener, as
// does a SIGPIPE of the listener's own. It knows nothing of the session: it
// passes the signal on, to be taken at the next wait, and sets a limit. Past the
// limit (standard output is stalled, a database or the system log does not
// answer) the main thread ends where it is, with calls that a handler may make
// anywhere; so it does before signal_defer, with nothing to release yet.
#include "base/signals.h"

#include <atomic>
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <unistd.h>

namespace
{

// Together they stay below a second.
constexpr suseconds_t orderly_microseconds = 300000;
constexpr suseconds_t forced_microseconds = 600000;
constexpr int room_milliseconds = 250;

signal_duties duties;
thread_local bool is_main_thread;
sigset_t wait_mask;
volatile sig_atomic_t deferred;
volatile sig_atomic_t told; // the message is out
std::atomic<int> ending;    // the signal that ends the process, once it came

void set_limit(suseconds_t microseconds, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigfillset(&action.sa_mask);
    sigdelset(&action.sa_mask, SIGALRM);
    action.sa_flags = SA_NODEFER;
    sigaction(SIGALRM, &action, nullptr);
    const struct itimerval once = {{0, 0}, {0, microseconds}};
    setitimer(ITIMER_REAL, &once, nullptr);
}

void change_alarm(int how)
{
    sigset_t alarm_only;
    sigemptyset(&alarm_only);
    sigaddset(&alarm_only, SIGALRM);
    pthread_sigmask(how, &alarm_only, nullptr);
}

// The main thread's id is that of the process.
void signal_main_thread(int number)
{
    tgkill(getpid(), getpid(), number);
}

void leave_at_once(int)
{
    _exit(EXIT_FAILURE);
}

// Ends the process, wherever the main thread is.
[[noreturn]] void force_end(int number)
{
    set_limit(forced_microseconds, leave_at_once);
    change_alarm(SIG_UNBLOCK);
    duties.rescue();
    const char *text =
        number == SIGPIPE ? "\nReceive signal=13 and exit\n" : "\nReceive signal=15 and exit\n";
    struct pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    if (told == 0 && poll(&output, 1, room_milliseconds) == 1)
        (void)!write(STDOUT_FILENO, text, strlen(text));
    _exit(EXIT_FAILURE);
}

// While the main thread holds the alarm off, another thread may get it.
void end_past_limit(int)
{
    if (is_main_thread)
        force_end(ending);
    signal_main_thread(SIGALRM);
}

// The alarm is held off once there is room for the message, so that it is never
// printed twice. The stream stays locked: nothing is printed after it.
void print_message(int number)
{
    flockfile(stdout);
    fflush(stdout);
    struct pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    poll(&output, 1, -1);
    change_alarm(SIG_BLOCK);
    printf("\nReceive signal=%d and exit\n", number);
    fflush(stdout);
    told = 1;
    change_alarm(SIG_UNBLOCK);
}

[[noreturn]] void end_process(int number)
{
    if (ending == 0) {
        ending = number;
        set_limit(orderly_microseconds, end_past_limit);
    }
    change_alarm(SIG_UNBLOCK);
    const bool is_parked = duties.park() == 0;
    print_message(number);
    duties.release();
    if (is_parked)
        exit(EXIT_FAILURE);
    _exit(EXIT_FAILURE);
}

void pass_on(int number)
{
    int none = 0;
    if (!ending.compare_exchange_strong(none, number))
        return;
    set_limit(orderly_microseconds, end_past_limit);
    signal_main_thread(SIGTERM);
}

} // namespace

void signal_handler(int number)
{
    if (!is_main_thread) {
        pass_on(number);
        return;
    }
    if (deferred == 0)
        force_end(number);
    end_process(ending != 0 ? ending.load() : number);
}

void signal_init(const signal_duties &given)
{
    duties = given;
    is_main_thread = true;

    struct sigaction action = {};
    action.sa_handler = signal_handler;
    sigfillset(&action.sa_mask);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGPIPE, &action, nullptr);
    signal(SIGXFSZ, SIG_IGN);

    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    sigdelset(&mask, SIGPIPE);
    sigdelset(&mask, SIGTERM);
    sigdelset(&mask, SIGALRM);
    wait_mask = mask;
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

void signal_defer()
{
    sigset_t mask = wait_mask;
    sigaddset(&mask, SIGTERM);
    sigaddset(&mask, SIGPIPE);
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    deferred = 1;
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
