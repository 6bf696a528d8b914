// Command trees: staged changes, keyed by absolute path.
//
// Every node stands for one path component; its path begins with its parent's
// path and "/" (a key predicate belongs to the component that it follows).
// Paths are masked (schema/masking.h), so each "/" is a component's start, and
// each component below the module can be written as an element: a path of which
// one cannot (cmdtree/element_name.h) is refused.
// Children are newest first, but a delete that replaces staged changes goes
// last. Further values of a leaf-list hang in its node's value list.
//
// A tree owns its nodes and they own their texts. Values are wiped before they
// are freed. Beside the links that output follows, each staging tree has an
// index by path, so that staging costs the depth of a path, not the size of
// the tree.
#pragma once

#include <stdint.h>

#include "base/session.h"

struct schema_record;

enum cmd_operation : uint8_t {
    operation_structural = 0, // an ancestor that only holds children
    operation_set = 1,
    operation_delete = 2,
};

// One block holds a node, its path and the value that it was made with: a large tree is
// bound by memory traffic.
struct cmd_node {
    uint32_t index_hash;
    cmd_operation operation;
    bool is_value_entry; // one of its parent's values
    bool value_is_apart; // in a block of its own
    cmd_node *index_next;
    cmd_node *parent; // of a value entry: the leaf-list's node
    cmd_node *next_sibling;
    cmd_node **back_link; // address of the link that points at this node; of the first in
                          // a list, that of the link that ends it; null in no list
    cmd_node *children;   // the first, in output order
    cmd_node *values;     // further values of a leaf-list, each a node of its own
    char *value;          // null for none
    cmd_node *log_next;
    cmd_node **log_back_link; // null while the node is in no log
    char path[];
};

// Clears the output pool's slots and both logs; called once at start-up.
void tree_init();

// The tree that changes go into at the prompt: the current rpc's input, or the
// configuration. Its paths are those of path_scope_session.
command_tree *staged_tree();

// Stages one change in one of the session's trees: set or delete the place with this
// path and record, with a value or null. 0, or -1 when the change is refused or memory runs out,
// and then nothing has changed.
int tree_stage(command_tree *tree, const char *path, const schema_record *record, const char *value,
               cmd_operation operation);

// The same for a path, which is looked up when it is staged already. -1 also for a
// path that is not absolute and for another operation; a null path is success. The
// rpc tree takes sets only; a delete or a null path is logged there and returns 0.
int tree_stage_config(const char *path, const char *value, cmd_operation operation);
int tree_stage_rpc(const char *path, const char *value, cmd_operation operation);

// The node at exactly this path, or null.
cmd_node *tree_find(const command_tree *tree, const char *path);

// The deepest node whose path is a prefix of path at a component's end; null
// for a tree without a root.
cmd_node *tree_find_deepest(const command_tree *tree, const char *path);

// The node at this path, or, where path names a list with staged entries, the
// node that holds the entries; null when nothing is staged there.
cmd_node *tree_find_staged(const command_tree *tree, const char *path);

// The staged entries of a list, in output order; null at the end.
cmd_node *tree_first_entry(const command_tree *tree, const char *list_path);
cmd_node *tree_next_entry(const cmd_node *entry, const char *list_path);

// Puts a structural node for path into a tree; 0, or -1 when the path is refused
// or memory runs out.
int tree_add_structural(command_tree *tree, const char *path);

// Forgets the index of a tree that is given up, and hands its root over for
// tree_free_subtree.
cmd_node *tree_detach(command_tree *tree);

// Frees a tree; it is empty afterwards. Its nodes leave their log.
void tree_free(command_tree *tree);

// Frees a node of the tree, also a root that was detached, and everything below it; null
// is accepted. The nodes leave the tree, its index and its log.
void tree_free_subtree(command_tree *tree, cmd_node *top);
