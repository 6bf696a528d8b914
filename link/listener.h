// The thread that prints notifications which arrive between two requests.
#ifndef VANDEL_LINK_LISTENER_H
#define VANDEL_LINK_LISTENER_H

// Starts a detached thread; 0 or -1 (logged).
int thread_create(void *(*body)(void *), void *argument);

// The listener's body; ignores its argument, returns null only when the
// exchange lock cannot be released.
void *notify_listener(void *argument);

#endif
