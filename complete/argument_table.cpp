#include "complete/argument_table.h"

#include <limits.h>
#include <string.h>

#include "base/text.h"
#include "tinyrl/tinyrl.h"

namespace
{

struct column_widths {
    size_t prereq;
    size_t name;
    size_t type;
    size_t range_text;
};

const char *or_empty(const char *text)
{
    return text != nullptr ? text : "";
}

void widen(size_t *width, const char *text)
{
    const size_t length = strlen(or_empty(text));
    *width = length > *width ? length : *width;
}

column_widths measure(const arg_desc *arguments)
{
    column_widths widths = {};
    for (const arg_desc *row = arguments; row->name != nullptr; row++) {
        widen(&widths.prereq, row->prereq);
        widen(&widths.name, row->name);
        widen(&widths.type, row->type);
        widen(&widths.range_text, row->range_text);
    }
    return widths;
}

// The row's prerequisite when no row has that name, otherwise null.
const char *outside_prereq(const arg_desc *arguments, const arg_desc *row)
{
    for (const arg_desc *other = arguments; row->prereq != nullptr && other->name != nullptr;
         other++) {
        if (strcmp(other->name, row->prereq) == 0)
            return nullptr;
    }
    return row->prereq;
}

// A width in bytes as printf takes it.
int print_width(size_t width)
{
    return width < INT_MAX ? static_cast<int>(width) : INT_MAX;
}

void print_row(tinyrl *editor, const arg_desc *row, const char *prereq, const column_widths &widths)
{
    tinyrl_printf(editor, "  %-*s    %-*s    %-*s    %-*s    %s", print_width(widths.prereq),
                  or_empty(prereq), print_width(widths.name), row->name, print_width(widths.type),
                  or_empty(row->type), print_width(widths.range_text), or_empty(row->range_text),
                  or_empty(row->help));
    tinyrl_crlf(editor);
}

} // namespace

void argument_table_print(tinyrl *editor, const cmd_entry *command)
{
    const column_widths widths = measure(command->args);
    for (const arg_desc *row = command->args; row->name != nullptr; row++)
        print_row(editor, row, outside_prereq(command->args, row), widths);
}

void argument_table_print_outside(tinyrl *editor, const cmd_entry *command, std::string_view typed)
{
    const column_widths widths = measure(command->args);
    for (const arg_desc *row = command->args; row->name != nullptr; row++) {
        const char *prereq = outside_prereq(command->args, row);
        if (prereq != nullptr && text_starts_with(prereq, typed))
            print_row(editor, row, prereq, widths);
    }
}
