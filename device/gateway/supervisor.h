// The gateway at work: one process that listens, and one for each shell.
#pragma once

#include "device/gateway/gateway_options.h"

// Serves until SIGTERM or SIGINT (or SIGHUP, unless that was ignored) comes,
// then ends all sessions and removes the socket. Returns the exit status: 0
// after such an end, 1 when the socket cannot be had. Only one thread may run.
int gateway_run(const gateway_options *options);
