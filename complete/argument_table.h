// The table of a command's arguments that '?' prints: prerequisite, name, type,
// accepted values and help, each column as wide as its longest text.
#pragma once

#include <string_view>

#include "base/command.h"

struct tinyrl;

// Prints all arguments, or, given a typed text, those whose prerequisite is no argument
// and begins with it. A prerequisite that is itself an argument is left blank.
void argument_table_print(tinyrl *editor, const cmd_entry *command,
                          const std::string_view *typed = nullptr);
