// Output and geometry of a terminal.
//
// The control sequences are those of a VT100, which every terminal and emulator
// in use understands, so nothing is looked up in a database.
#include "tinyrl/terminal.h"

#include <stdarg.h>
#include <sys/ioctl.h>

namespace
{

constexpr int escape = 27;
constexpr int bell = 7;
constexpr int default_width = 80;
constexpr int default_height = 25;

// The size of the output's window, 0 where it is not known.
winsize window_size(const struct terminal *terminal)
{
    winsize size = {};
    if (terminal->output == nullptr || ioctl(fileno(terminal->output), TIOCGWINSZ, &size) != 0)
        return {};
    return size;
}

} // namespace

int terminal_get_width(const struct terminal *terminal)
{
    const int columns = window_size(terminal).ws_col;
    return columns > 0 ? columns : default_width;
}

int terminal_get_height(const struct terminal *terminal)
{
    const int rows = window_size(terminal).ws_row;
    return rows > 0 ? rows : default_height;
}

int terminal_vprintf(const struct terminal *terminal, const char *format, va_list arguments)
{
    return terminal->output != nullptr ? vfprintf(terminal->output, format, arguments) : 0;
}

int terminal_printf(const struct terminal *terminal, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int written = terminal_vprintf(terminal, format, arguments);
    va_end(arguments);
    return written;
}

void terminal_write(const struct terminal *terminal, const char *text, size_t length)
{
    if (terminal->output != nullptr && length > 0)
        fwrite(text, 1, length, terminal->output);
}

void terminal_flush(const struct terminal *terminal)
{
    if (terminal->output != nullptr && !terminal_line_is_ahead(terminal))
        fflush(terminal->output);
}

void terminal_ding(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c", bell);
    terminal_flush(terminal);
}

void terminal_control(const struct terminal *terminal, const char *control)
{
    terminal_printf(terminal, "%c%s", escape, control);
}

void terminal_control(const struct terminal *terminal, int count, char control)
{
    terminal_printf(terminal, "%c[%d%c", escape, count, control);
}
