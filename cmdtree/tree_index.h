// Index of a command tree: nodes by path, leaf-list entries by path and value.
//
// The index refers to nodes that the tree owns. It never makes staging fail
// once it has buckets: when it cannot grow, its chains get longer.
#pragma once

#include <string_view>

#include "cmdtree/tree.h"

// Gives an index its first buckets; 0, or -1 when memory runs out.
int tree_index_prepare(tree_index *index);

// Adds a tree node under its path, or a leaf-list entry that has a value
// under its path and value.
void tree_index_add_node(tree_index *index, cmd_node *node);
void tree_index_add_entry(tree_index *index, cmd_node *entry);

// Takes a node or entry out; one that is not in the index is ignored.
void tree_index_remove(tree_index *index, cmd_node *node);

// The deepest node whose path is a prefix of path at a component's end, or
// null; costs the length of path.
cmd_node *tree_index_deepest(const tree_index *index, std::string_view path);

// The entry of a leaf-list with this value, or null.
cmd_node *tree_index_entry(const tree_index *index, const char *path, const char *value);

// Frees the buckets; the nodes stay.
void tree_index_clear(tree_index *index);
