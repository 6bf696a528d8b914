#include "base/log.h"

#include <stdarg.h>
#include <syslog.h>

void log_open()
{
    openlog("RELKA-VDL", LOG_PID, LOG_USER);
}

void log_error(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_USER | LOG_ERR, format, arguments);
    va_end(arguments);
}

void log_info(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_USER | LOG_INFO, format, arguments);
    va_end(arguments);
}

void log_debug(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_USER | LOG_DEBUG, format, arguments);
    va_end(arguments);
}
