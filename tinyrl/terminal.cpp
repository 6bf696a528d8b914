// Output and geometry of a terminal.
//
// The control sequences are those of a VT100, which every terminal and emulator
// in use understands, so nothing is looked up in a database.
#include "tinyrl/terminal.h"

#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>

#include "tinyrl/terminal_record.h"

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

terminal *terminal_new(FILE *input, FILE *output)
{
    auto *terminal = static_cast<struct terminal *>(calloc(1, sizeof(struct terminal)));
    if (terminal != nullptr) {
        terminal->output = output;
        terminal->timeout = -1;
        terminal_set_input(terminal, input);
    }
    return terminal;
}

void terminal_delete(struct terminal *terminal)
{
    free(terminal);
}

FILE *terminal_get_output(const struct terminal *terminal)
{
    return terminal->output;
}

bool terminal_output_failed(const struct terminal *terminal)
{
    return terminal->output != nullptr && ferror(terminal->output) != 0;
}

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

void terminal_attribute_reset(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[0m", escape);
}

void terminal_attribute_bright(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[1m", escape);
}

void terminal_attribute_dim(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[2m", escape);
}

void terminal_attribute_underscore(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[4m", escape);
}

void terminal_attribute_blink(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[5m", escape);
}

void terminal_attribute_reverse(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[7m", escape);
}

void terminal_attribute_hidden(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[8m", escape);
}

void terminal_erase_line(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[2K", escape);
}

void terminal_erase_down(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[J", escape);
}

void terminal_erase(const struct terminal *terminal, int count)
{
    terminal_printf(terminal, "%c[%dP", escape, count);
}

void terminal_clear_screen(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[2J", escape);
}

void terminal_cursor_save(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c7", escape);
}

void terminal_cursor_restore(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c8", escape);
}

void terminal_cursor_forward(const struct terminal *terminal, int count)
{
    terminal_printf(terminal, "%c[%dC", escape, count);
}

void terminal_cursor_back(const struct terminal *terminal, int count)
{
    terminal_printf(terminal, "%c[%dD", escape, count);
}

void terminal_cursor_up(const struct terminal *terminal, int count)
{
    terminal_printf(terminal, "%c[%dA", escape, count);
}

void terminal_cursor_down(const struct terminal *terminal, int count)
{
    terminal_printf(terminal, "%c[%dB", escape, count);
}

void terminal_cursor_home(const struct terminal *terminal)
{
    terminal_printf(terminal, "%c[H", escape);
}

void terminal_scroll_down(const struct terminal *terminal)
{
    terminal_printf(terminal, "%cD", escape);
}

void terminal_scroll_up(const struct terminal *terminal)
{
    terminal_printf(terminal, "%cM", escape);
}

void terminal_next_line(const struct terminal *terminal)
{
    terminal_printf(terminal, "%cE", escape);
}
