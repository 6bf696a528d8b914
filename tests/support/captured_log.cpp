#include "tests/support/captured_log.h"

#include <mutex>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <syslog.h>

namespace
{

struct log_state {
    std::mutex mutex;
    log_lines lines;
    std::string ident;
    int option = 0;
    int facility = 0;
};

log_state &state()
{
    static log_state &the_only = *new log_state;
    return the_only;
}

void keep(int priority, const char *format, va_list arguments)
{
    char *text = nullptr;
    int length = vasprintf(&text, format, arguments);
    if (length < 0)
        abort();
    {
        log_state &log = state();
        std::lock_guard<std::mutex> guard(log.mutex);
        int facility = (priority & LOG_FACMASK) != 0 ? 0 : log.facility;
        log.lines.emplace_back(priority | facility, std::string(text, static_cast<size_t>(length)));
    }
    free(text);
}

} // namespace

log_lines captured_log_take()
{
    log_state &log = state();
    std::lock_guard<std::mutex> guard(log.mutex);
    log_lines taken;
    taken.swap(log.lines);
    return taken;
}

std::string captured_log_ident()
{
    return state().ident;
}

int captured_log_option()
{
    return state().option;
}

int captured_log_facility()
{
    return state().facility;
}

// The C library's functions under their names in the object file: its headers
// may declare them as inline wrappers, which could not be defined again. A
// fortified build calls the last two.
extern "C" {
void replaced_openlog(const char *ident, int option, int facility) __asm__("openlog");
void replaced_syslog(int priority, const char *format, ...) __asm__("syslog");
void replaced_vsyslog(int priority, const char *format, va_list arguments) __asm__("vsyslog");
void replaced_syslog_chk(int priority, int flag, const char *format, ...) __asm__("__syslog_chk");
void replaced_vsyslog_chk(int priority, int flag, const char *format,
                          va_list arguments) __asm__("__vsyslog_chk");
}

void replaced_openlog(const char *ident, int option, int facility)
{
    log_state &log = state();
    std::lock_guard<std::mutex> guard(log.mutex);
    log.ident = ident != nullptr ? ident : "";
    log.option = option;
    log.facility = facility;
}

void replaced_syslog(int priority, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    keep(priority, format, arguments);
    va_end(arguments);
}

void replaced_vsyslog(int priority, const char *format, va_list arguments)
{
    keep(priority, format, arguments);
}

void replaced_syslog_chk(int priority, int /*flag*/, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    keep(priority, format, arguments);
    va_end(arguments);
}

void replaced_vsyslog_chk(int priority, int /*flag*/, const char *format, va_list arguments)
{
    keep(priority, format, arguments);
}
