#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/command.h"
#include "bounded.h"

namespace
{

void print_row(const cmd_entry *entry)
{
    printf("  %-15s %s\n", entry->name, entry->help);
}

void print_all_rows()
{
    for (const cmd_entry *entry = command_rows(); entry->name != nullptr; entry++)
        print_row(entry);
}

// The second word by blanks alone, cut out of the line.
const char *second_word(char *line)
{
    char *rest = nullptr;
    strtok_s(line, " ", &rest);
    return strtok_s(nullptr, " ", &rest);
}

} // namespace

void version_print()
{
    printf("vandel  version %s\n", "v1.0.0");
    printf("compile time: %s, %s\n", __DATE__, __TIME__);
}

int cmd_help(const char *line)
{
    {
        const arg_words words(line);
        if (words.argc != 1 && words.argc != 2) {
            puts("error command, please use:help [cmd] \r");
            return 0;
        }
    }
    const char *name = second_word(const_cast<char *>(line));
    const cmd_entry *entry = name != nullptr ? command_find(command_rows(), name) : nullptr;
    if (entry != nullptr) {
        print_row(entry);
        return 0;
    }
    if (name != nullptr)
        printf("Unknown command '%s'\n", name);
    else
        version_print();
    print_all_rows();
    return 0;
}
