#include "complete/help_line.h"

#include <limits.h>

#include "tinyrl/tinyrl.h"

void help_line_print(tinyrl *editor, size_t width, const char *name, const char *help)
{
    tinyrl_printf(editor, "  %-*s    %s", print_width(width), name, help != nullptr ? help : "");
    tinyrl_crlf(editor);
}

int print_width(size_t width)
{
    return width < INT_MAX ? static_cast<int>(width) : INT_MAX;
}
