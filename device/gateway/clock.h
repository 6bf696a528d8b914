// The gateway's clock.
#pragma once

#include <poll.h>
#include <stddef.h>
#include <stdint.h>

// Milliseconds of a clock that only goes forward.
int64_t clock_milliseconds();

// Polls until a deadline, INT64_MAX: for ever. 0, or -1: polling itself fails.
int clock_poll(struct pollfd *polls, size_t count, int64_t deadline);
