// '?' after a command: what its arguments may be, argument by argument.
#pragma once

#include "base/command.h"

struct tinyrl;

enum first_argument_state {
    first_argument_begun,  // some of it is typed
    first_argument_to_come // the cursor stands after a blank
};

// Prints what may stand as the command's first argument. Of one that is begun,
// what all candidates share is put into the line.
void first_argument_help(tinyrl *editor, const cmd_entry *command, first_argument_state state);

// Prints what may follow the word `previous` and puts what all candidates share
// into the line.
void next_argument_help(tinyrl *editor, const cmd_entry *command, const char *previous);
