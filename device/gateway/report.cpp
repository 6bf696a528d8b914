#include "device/gateway/report.h"

#include <poll.h>
#include <stdarg.h>
#include <string.h>
#include <unistd.h>

#include "bounded.h"

namespace
{

// Not above PIPE_BUF, which a pipe that polls writable takes.
constexpr size_t line_size = 2048;

void write_line(const char *prefix, const char *format, va_list arguments)
{
    char message[line_size - 64];
    if (vsprintf_s(message, sizeof message, format, arguments) < 0)
        strcpy_s(message, sizeof message, "(a message that is too long)");
    char line[line_size];
    if (sprintf_s(line, sizeof line, "%s%s\n", prefix, message) >= 0)
        report_bytes(line, strlen(line));
}

} // namespace

void report_bytes(const char *bytes, size_t size)
{
    struct pollfd log = {STDERR_FILENO, POLLOUT, 0};
    if (poll(&log, 1, 0) == 1 && (log.revents & POLLOUT) != 0)
        (void)!write(STDERR_FILENO, bytes, size);
}

report_text report_clean(const char *text)
{
    report_text clean{};
    if (!text)
        return clean;
    for (size_t at = 0; at < sizeof clean.text - 1 && text[at]; at++)
        clean.text[at] = text[at] >= ' ' && text[at] <= '~' ? text[at] : '?';
    return clean;
}

void report(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_line("tarnd-gateway: ", format, arguments);
    va_end(arguments);
}

void report_shell(unsigned number, const char *format, ...)
{
    char prefix[48];
    sprintf_s(prefix, sizeof prefix, "tarnd-gateway: shell %u: ", number);
    va_list arguments;
    va_start(arguments, format);
    write_line(prefix, format, arguments);
    va_end(arguments);
}
