// The command table.
#ifndef VANDEL_SHELL_COMMAND_TABLE_H
#define VANDEL_SHELL_COMMAND_TABLE_H

#include "base/command.h"

extern const cmd_entry command_table[command_count + 1];

#endif
