#include "base/command.h"

#include <string.h>

namespace
{

constexpr cmd_entry no_rows = {};

const cmd_entry *table = &no_rows;

} // namespace

void command_rows_use(const cmd_entry *rows)
{
    table = rows;
}

const cmd_entry *command_rows()
{
    return table;
}

const cmd_entry *command_find(const cmd_entry *rows, const char *name)
{
    for (const cmd_entry *entry = rows; entry->name != nullptr; entry++) {
        if (strcmp(entry->name, name) == 0)
            return entry;
    }
    return nullptr;
}
