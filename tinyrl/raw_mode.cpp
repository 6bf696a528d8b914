// Raw mode: keys one by one, as they are struck.
//
// The settings to go back to are those found when the input was attached, so a
// read that ends in whatever way leaves the terminal as the user set it up. A
// change of mode waits for pending output, which would otherwise be printed
// under the wrong output flags, and keeps what was typed ahead.
#include "tinyrl/raw_mode.h"

#include <atomic>
#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

// The terminal that is in raw mode now; any thread may be the one that a signal strikes.
std::atomic<raw_mode *> active_mode = nullptr;

// A failure has no remedy: the terminal has gone.
void apply(int descriptor, int when, const termios *settings)
{
    int result = 0;
    do {
        result = tcsetattr(descriptor, when, settings);
    } while (result < 0 && errno == EINTR);
}

// What ends a process from outside: in raw mode no key sends them.
constexpr int ending_signals[] = {SIGHUP, SIGINT, SIGQUIT};

// The signal then ends the process as if nobody had caught it.
void rescue_and_end(int number)
{
    const raw_mode *mode = active_mode;
    if (mode != nullptr)
        tcsetattr(mode->descriptor, TCSANOW, &mode->saved);
    signal(number, SIG_DFL);
    kill(getpid(), number);
}

// Hands the signals that old handles to wanted. A signal that the program handles
// itself, or ignores, stays as it is.
void change_handler(void (*old)(int), void (*wanted)(int))
{
    for (int number : ending_signals) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == old) {
            action = {};
            action.sa_handler = wanted;
            sigfillset(&action.sa_mask);
            sigaction(number, &action, nullptr);
        }
    }
}

// A process may exit inside a read: from a key's handler, or in another thread.
void rescue_at_exit()
{
    static bool is_registered = false;
    if (!is_registered)
        is_registered = atexit(raw_mode_rescue) == 0;
}

// The mode counts as active until the terminal has its settings back, which may take
// long.
void leave(raw_mode *mode, int when)
{
    if (mode->is_active) {
        apply(mode->descriptor, when, &mode->saved);
        mode->is_active = false;
        active_mode = nullptr;
        change_handler(rescue_and_end, SIG_DFL);
    }
}

bool has_drained(int descriptor)
{
    int pending = 0;
    return ioctl(descriptor, TIOCOUTQ, &pending) < 0 || pending == 0;
}

} // namespace

void raw_mode_attach(raw_mode *mode, FILE *input)
{
    mode->descriptor = input != nullptr ? fileno(input) : -1;
    mode->is_terminal = mode->descriptor >= 0 && isatty(mode->descriptor) == 1;
    mode->is_saved = mode->is_terminal && tcgetattr(mode->descriptor, &mode->saved) == 0;
    mode->is_active = false;
}

void raw_mode_enter(raw_mode *mode)
{
    termios settings = {};
    if (!mode->is_saved || mode->is_active || tcgetattr(mode->descriptor, &settings) < 0)
        return;
    settings.c_iflag = 0;
    settings.c_oflag = OPOST | ONLCR;
    settings.c_lflag = 0;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    rescue_at_exit();
    active_mode = mode;
    mode->is_active = true;
    change_handler(SIG_DFL, rescue_and_end);
    apply(mode->descriptor, TCSADRAIN, &settings);
}

void raw_mode_leave(raw_mode *mode)
{
    leave(mode, TCSADRAIN);
}

void raw_mode_abandon(raw_mode *mode)
{
    const int steps = 50;
    const int milliseconds_per_step = 10;
    if (!mode->is_active)
        return;
    for (int step = 0; step < steps && !has_drained(mode->descriptor); step++)
        poll(nullptr, 0, milliseconds_per_step);
    leave(mode, has_drained(mode->descriptor) ? TCSADRAIN : TCSANOW);
}

void raw_mode_rescue()
{
    raw_mode *mode = active_mode;
    if (mode != nullptr)
        raw_mode_abandon(mode);
}
