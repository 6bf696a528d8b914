// Signals that end the shell, and the moments at which they may strike.
//
// SIGTERM is blocked but for the shell's waits: the handler releases the
// session and ends the process, which is safe only where the main thread is
// inside no allocation and no printing. The listener thread never takes it.
// SIGPIPE strikes the thread that writes and is never blocked.
#ifndef VANDEL_SHELL_SIGNALS_H
#define VANDEL_SHELL_SIGNALS_H

#include <signal.h>

// Installs signal_handler for SIGTERM and SIGPIPE and blocks SIGTERM in the
// calling thread, the main thread, and in those that it creates.
void signal_init();

// Prints the signal, releases the session and ends the process with status 1;
// in another thread than the main thread it has the main thread do so.
void signal_handler(int number);

// The signal mask during a wait: the one that the process started with, less
// SIGTERM. Empty before signal_init.
const sigset_t *signal_wait_mask();

// While it lives, SIGTERM may strike the main thread. Between construction and
// destruction stands one system call that waits, and nothing else.
struct signal_window {
    signal_window();
    ~signal_window();
    signal_window(const signal_window &) = delete;
    signal_window &operator=(const signal_window &) = delete;

  private:
    bool opened;
    sigset_t before;
};

#endif
