// Places in the model: a path that is resolved once.
//
// A command makes a place of its operand and hands it on; nobody below looks the
// path up again. A place holds what the schema said when it was made, so it does not
// outlive the command.
#pragma once

#include "base/text.h"
#include "schema/key_set.h"
#include "schema/records.h"
#include "schema/schema_path.h"

struct place {
    heap_text path;        // absolute, normalised and masked; null where an operand names none
    heap_text schema_path; // null where the schema has no such path
    record_ptr record;     // of the node; null for the root, a module and what has no record
};

// The absolute, normalised, masked path that an operand (masked or not) names in the
// current workspace. Null when memory runs out, and for an operand that climbs above
// the root or the rpc, or continues a list with something else than one of its
// entries.
heap_text path_absolute(const char *operand);

// The place of a masked path that is absolute already; null is no path.
place place_at(const char *path, path_scope scope);

// The place of an operand, or of the workspace.
place place_of(const char *operand);
place place_of_workspace();

// The same, but for a path outside of the current rpc, where nothing can be staged or
// entered, it is not looked up.
place place_within_rpc(const char *operand);

// The place under which one is listed: the list of an entry, else the parent.
place place_listing_parent(const place &at);

// Whether the schema has a record there, of a node or a module.
bool place_is_known(const place &at);

// What the record says. One without a record counts as a module's.
unsigned place_kind(const place &at);
bool place_is_config(const place &at);
bool place_takes_value(const place &at);

// The key leaves of the list that a place is, or is an entry of, in the order of the
// database; 0, or -1 (logged) when it has none or cannot be read.
int list_keys(const place &list, key_names *keys);
