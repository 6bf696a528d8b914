// The thread that prints notifications which arrive between two requests.
#pragma once

// Starts a detached thread; 0 or -1 (logged).
int thread_create(void *(*body)(void *), void *argument);

// The listener's body; ignores its argument, returns null only when the
// exchange lock cannot be released.
void *notify_listener(void *argument);

// Waits until the listener handles no message and keeps it from handling
// another one, for good. The main thread does so before the process ends, because
// exit() takes down the libraries that a message is handled with. SIGTERM may
// strike meanwhile.
void listener_park();

// The same from a signal handler, also of listener_park itself, for a fifth of a
// second at most; 0, or an error number when the listener is still at it (its
// output is stalled), and then the process must end without exit().
int listener_park_soon();
