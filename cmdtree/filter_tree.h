// Throw-away trees that describe the subtree filter of a read.
//
// Freed with tree_free; nothing of them is staged.
#ifndef VANDEL_CMDTREE_FILTER_TREE_H
#define VANDEL_CMDTREE_FILTER_TREE_H

#include "base/session.h"
#include "schema/key_set.h"

// A tree that owns itself.
struct filter_tree : command_tree {
    filter_tree();
    ~filter_tree();
    filter_tree(const filter_tree &) = delete;
    filter_tree &operator=(const filter_tree &) = delete;
};

// Fills an empty tree with a structural node for a masked path; 0 or -1. A path
// of one component is refused with a message to the operator.
int filter_tree_for_path(filter_tree *tree, const char *path);

// The same, and below that node one for each name.
int filter_tree_for_keys(filter_tree *tree, const char *list_path, const key_names *keys);

#endif
