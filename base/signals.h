// Signals that end the shell, and the moments at which they may strike.
//
// From signal_defer on, SIGTERM and SIGPIPE are blocked in the main thread but
// for its waits: the handler releases the session and ends the process, which
// is safe only where the main thread is inside no allocation and no printing.
// One that comes in between is taken at the next wait; one from outside does
// not wait longer than a fraction of a second.
#pragma once

#include <signal.h>

// What has to be done before the process ends, for folders above this one.
struct signal_duties {
    // Keeps other threads from using what exit() takes down, for a moment at most; 0,
    // or an error number when that cannot be had, and then exit() is not called.
    int (*park)();
    // Releases the session. The main thread is at a wait.
    void (*release)();
    // Gives the terminal its mode back, with calls that are safe in a handler.
    void (*rescue)();
};

// Installs signal_handler for SIGTERM and SIGPIPE; the caller is the main
// thread. A signal ends the process at once, without releasing anything. A file
// that reaches the limit on its size (SIGXFSZ) is one that cannot be written, no more.
void signal_init(const signal_duties &given);

// From now on the session has things to release, and both signals are blocked
// in the calling thread, the main thread. Threads made before still take them.
void signal_defer();

// Prints the signal, releases the session and ends the process with status 1;
// in another thread than the main thread it has the main thread do so.
void signal_handler(int number);

// The signal mask during a wait: the one that the process started with, less
// the signals that end it. Empty before signal_init.
const sigset_t *signal_wait_mask();

// While it lives, both may strike the main thread. Between construction and
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
