// The command discard_changes.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "commands/staging.h"

int cmd_discard_changes(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1) {
        puts("error command, please use:discard_changes (no param)\r");
        return 0;
    }
    staged_discard();
    puts("The discard_changes command executed successfuly!");
    return 0;
}
