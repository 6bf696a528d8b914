// The XML of one command node, as the pieces before and after its children.
#pragma once

#include "base/text.h"
#include "cmdtree/tree.h"
#include "schema/schema_path.h"

// What of a node is written.
enum element_detail {
    element_with_changes, // its operation and value
    element_as_filter,    // neither
};

// Writes elements of a tree whose paths are of this scope. The buffers are kept from one
// to the next.
struct element_writer {
    element_detail detail;
    path_scope scope;
    text_buffer piece; // what has been written; emptied by whoever takes it
    text_buffer value; // for one at a time
};

// Whether the node stands for an element: not for the root or a module.
bool element_exists(const cmd_node *node);

// Appends what comes before the children: the opening tag and the keys of a
// list entry, or the whole element of a node with a value. 0 or -1.
int element_open(element_writer *writer, const cmd_node *node);

// Appends what comes after the children: the closing tag of a node without a
// value. 0 or -1.
int element_close(element_writer *writer, const cmd_node *node);
