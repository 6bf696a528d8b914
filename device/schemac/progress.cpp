#include "device/schemac/progress.h"

#include <chrono>
#include <stdio.h>
#include <unistd.h>

namespace
{

using time_source = std::chrono::steady_clock;

constexpr std::chrono::milliseconds silence(1000);
constexpr std::chrono::milliseconds interval(200);

time_source::time_point next;
bool is_shown;

} // namespace

void progress_start()
{
    next = time_source::now() + silence;
}

void progress_show(const std::string &text)
{
    if (time_source::now() < next || isatty(STDERR_FILENO) == 0)
        return;
    fprintf(stderr, "\r\033[Kschemac: %s", text.c_str());
    next = time_source::now() + interval;
    is_shown = true;
}

void progress_clear()
{
    if (is_shown) {
        fputs("\r\033[K", stderr);
        is_shown = false;
    }
}
