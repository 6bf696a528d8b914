#include "device/gateway/clock.h"

#include <limits.h>
#include <time.h>

int64_t clock_milliseconds()
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

int clock_poll_time(int64_t deadline, int64_t now)
{
    if (deadline == INT64_MAX)
        return -1;
    const int64_t rest = deadline - now;
    if (rest < 0)
        return 0;
    return rest > INT_MAX ? INT_MAX : static_cast<int>(rest);
}
