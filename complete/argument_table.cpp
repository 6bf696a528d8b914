#include "complete/argument_table.h"

#include <algorithm>
#include <string.h>

#include "base/text.h"
#include "tinyrl/tinyrl.h"

namespace
{

constexpr int padded_columns = 4; // all but the help

struct table_row {
    const char *text[padded_columns + 1];
};

const char *or_empty(const char *text)
{
    return text != nullptr ? text : "";
}

table_row row_of(const arg_desc *argument, const char *prereq)
{
    return {{or_empty(prereq), argument->name, or_empty(argument->type),
             or_empty(argument->range_text), or_empty(argument->help)}};
}

// The prerequisite when no argument has that name, otherwise null.
const char *outside_prereq(const arg_desc *arguments, const char *prereq)
{
    for (; prereq != nullptr && arguments->name != nullptr; arguments++) {
        if (strcmp(arguments->name, prereq) == 0)
            return nullptr;
    }
    return prereq;
}

} // namespace

void argument_table_print(tinyrl *editor, const cmd_entry *command, const std::string_view *typed)
{
    int width[padded_columns] = {};
    for (const arg_desc *argument = command->args; argument->name != nullptr; argument++) {
        const table_row row = row_of(argument, argument->prereq);
        for (int i = 0; i < padded_columns; i++)
            width[i] = std::max(width[i], static_cast<int>(strlen(row.text[i])));
    }
    for (const arg_desc *argument = command->args; argument->name != nullptr; argument++) {
        const char *prereq = outside_prereq(command->args, argument->prereq);
        if (typed != nullptr && (prereq == nullptr || !text_starts_with(prereq, *typed)))
            continue;
        const table_row row = row_of(argument, prereq);
        for (int i = 0; i < padded_columns; i++)
            tinyrl_printf(editor, i == 0 ? "  %-*s" : "    %-*s", width[i], row.text[i]);
        tinyrl_printf(editor, "    %s", row.text[padded_columns]);
        tinyrl_crlf(editor);
    }
}
