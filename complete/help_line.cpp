#include "complete/help_line.h"

#include <limits.h>

#include "tinyrl/tinyrl.h"

void help_line_print(tinyrl *editor, size_t width, const char *name, const char *help)
{
    tinyrl_printf(editor, "  ");
    tinyrl_print_safe(editor, name, width);
    tinyrl_printf(editor, "    ");
    tinyrl_print_safe(editor, help != nullptr ? help : "", 0);
    tinyrl_crlf(editor);
}

int print_width(size_t width)
{
    return width < INT_MAX ? static_cast<int>(width) : INT_MAX;
}
