#include "device/gateway/clock.h"

#include <algorithm>
#include <errno.h>
#include <limits.h>
#include <time.h>

int64_t clock_milliseconds()
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

int clock_poll(struct pollfd *polls, size_t count, int64_t deadline)
{
    const int64_t rest = std::clamp<int64_t>(deadline - clock_milliseconds(), 0, INT_MAX);
    const int time = deadline == INT64_MAX ? -1 : static_cast<int>(rest);
    return poll(polls, count, time) < 0 && errno != EINTR && errno != ENOMEM ? -1 : 0;
}
