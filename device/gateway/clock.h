// The gateway's clock.
#pragma once

#include <stdint.h>

// Milliseconds of a clock that only goes forward.
int64_t clock_milliseconds();

// How long poll() may wait at now for a deadline, INT64_MAX: for ever.
int clock_poll_time(int64_t deadline, int64_t now);
