// Nodes of command trees: creation, linking, release.
//
// Node and log links are kept by their addresses, so unlinking needs no search. Where a
// list of siblings ends, its first one knows.
#pragma once

#include <string_view>

#include "base/text.h"
#include "cmdtree/tree.h"

// Frees a node that is in no list, log or index.
void node_free(cmd_node *node);
using node_ptr = released_ptr<cmd_node, node_free>;

// A node with copies of path and value (null for none); null when memory runs
// out.
node_ptr node_create(std::string_view path, const char *value, cmd_operation operation);

// Links a node as a child of its parent, or as the last of a leaf-list's values.
void node_link_first(cmd_node *parent, cmd_node *node);
void node_link_last(cmd_node *parent, cmd_node *node);
void node_link_value(cmd_node *leaf_list, cmd_node *node);

// Takes a node out of its parent, where it has one.
void node_unlink(cmd_node *node);

// Appends a node to a log, and takes one out of it, where it is there.
void node_log(command_log *log, cmd_node *node);
void node_unlog(command_log *log, cmd_node *node);

// Wipes a node's value and gives it another one, or none.
void node_replace_value(cmd_node *node, heap_text value);

// The last component of a path: its name, and what stands between its brackets. It is
// all name where nothing does or a bracket is missing.
struct last_component {
    std::string_view name;
    std::string_view predicate;
};

last_component node_last_component(const cmd_node *node);
