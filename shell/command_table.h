// The command table.
#pragma once

#include "base/command.h"

extern const cmd_entry command_table[command_count + 1];
