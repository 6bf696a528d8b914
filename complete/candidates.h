// What may stand at the cursor but for schema paths: commands, datastores and
// list keys.
//
// Each function appends to a list and returns 0, or -1 when memory runs out.
// word_start is where the word before the cursor begins.
#pragma once

#include <stddef.h>
#include <string_view>

#include "base/command.h"
#include "complete/line_scan.h"
#include "complete/match_list.h"

// The commands, then the rpcs of the workspace. *commands is the number of
// commands among them. Nothing is asked of the server.
int add_command_names(const tinyrl *editor, size_t word_start, match_list *list, size_t *commands);

// The values that an argument may have, but not `excluded`. An argument that is
// null or has no values is logged and adds nothing.
int add_range_values(const tinyrl *editor, size_t word_start, const arg_desc *argument,
                     std::string_view excluded, match_list *list);

// The keys of the list that is the workspace, but not those that were typed
// already: the words of the line are keys and values in turn. Nothing where a
// value is due.
int add_list_keys(const tinyrl *editor, const line_scan *scan, match_list *list);

// The row of the command that the line begins with; null when there is none or
// memory runs out (logged).
const cmd_entry *typed_command(const line_scan *scan);

// Argument `index` of a command, or null.
const arg_desc *command_argument(const cmd_entry *command, size_t index);
