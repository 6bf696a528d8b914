// Draws what stands below a node.
#ifndef VANDEL_SCHEMAC_TREE_PRINT_H
#define VANDEL_SCHEMAC_TREE_PRINT_H

#include "device/schemac/stored.h"

// "rw" for configuration, "ro" for state, "x" for an rpc; nothing for choices and
// cases.
std::string access_name(const node_record *record);

bool may_have_children(node_kind kind);

// Prints the path of the place and the nodes below it, on standard output: a line
// for each, with access, name, keys or type. A choice is in parentheses, a case
// follows a colon.
void tree_print(stored_schema *schema, const stored_place *place);

#endif
