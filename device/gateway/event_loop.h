// The gateway at work: one loop, one thread, any number of shells.
#ifndef VANDEL_GATEWAY_EVENT_LOOP_H
#define VANDEL_GATEWAY_EVENT_LOOP_H

#include "device/gateway/gateway_options.h"

// Serves until SIGTERM or SIGINT (or SIGHUP, unless that was ignored) comes,
// then ends all sessions and removes the socket. Returns the exit status: 0
// after such an end, 1 when the socket cannot be had.
int gateway_run(const gateway_options *options);

#endif
