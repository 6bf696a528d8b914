// Paths in the model: their components. Nothing here is looked up.
//
//     /module/container/list[key=value]/othermodule:leaf
//
// All functions take masked paths (schema/masking.h) and return masked paths,
// owned by the caller, null when memory runs out.
#pragma once

#include <stddef.h>
#include <string_view>

#include "base/text.h"

// Number of "/" in a path.
size_t path_levels(const char *path);

// The text after the last "/".
const char *path_last_component(const char *path);

// The first component, the module; empty for "/".
std::string_view path_module(const char *path);

// Whether a name adds one level to a path: it holds no "/", and no zero byte, which would
// end the path.
bool is_path_step(std::string_view name);

// Whether the last component ends in a predicate.
bool path_is_list_entry(const char *path);

// The path up to its last "/", "/" for a module.
heap_text path_parent(const char *path);

// The path under which a node is listed: that of the list for an entry, the
// parent otherwise.
heap_text path_listing_parent(const char *path);

// Whether path is prefix itself or lies below it.
bool path_is_within(const char *path, const char *prefix);

// Whether path lies within the current rpc; false outside RPC mode.
bool path_in_rpc(const char *path);

// Whether, in RPC mode, a path is outside of the rpc: nothing can be staged or
// entered there.
bool path_outside_rpc(const char *path);

// Removes empty components and "." from a path, without resolving "..".
void path_collapse(char *path);

// Resolves the ".." of a collapsed path, each one level up: from a list entry to
// its list, else to the parent. False for a path that climbs above the root or the
// current rpc, or holds a component that begins with ".." but is another.
bool path_resolve_parents(char *path);
