// Command trees as NETCONF XML.
//
// One element per path component; namespaces where the module changes; the key
// leaves of a list entry first; values escaped; deleted nodes carry
// xc:operation="delete". The root and modules produce no element.
#pragma once

#include <stddef.h>

#include "base/session.h"
#include "base/text.h"
#include "schema/schema_path.h"

// Appends the XML of a node and everything below it to the output pool; 0, or
// non-zero, and then the pool has been released. The scope is that of the tree
// that the node belongs to.
int tree_to_xml(const cmd_node *node, path_scope scope);

// Appends the subtree filter of a tree to a text, which stays below `size` bytes:
// elements and key values, no other values and no operations. 0, or -1 when it does
// not fit (logged) or a namespace is missing.
int tree_to_filter(const cmd_node *node, text_buffer *out, size_t size);
