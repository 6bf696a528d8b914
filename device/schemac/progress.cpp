#include "device/schemac/progress.h"

#include <stdio.h>
#include <time.h>
#include <unistd.h>

namespace
{

constexpr long long silence_ms = 1000;
constexpr long long interval_ms = 200;

long long next_ms;
bool is_shown;

long long now_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

} // namespace

void progress_start()
{
    next_ms = now_ms() + silence_ms;
}

void progress_show(const std::string &text)
{
    if (isatty(STDERR_FILENO) == 0 || now_ms() < next_ms)
        return;
    fprintf(stderr, "\r\033[Kschemac: %s", text.c_str());
    next_ms = now_ms() + interval_ms;
    is_shown = true;
}

void progress_clear()
{
    if (is_shown) {
        fputs("\r\033[K", stderr);
        is_shown = false;
    }
}
