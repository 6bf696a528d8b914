// From data paths to schema paths.
//
// A schema path is the data path with every predicate emptied (list[k=v] is
// list[]), with the choice and case levels put in, and inside an rpc with its
// input level put in. Paths are masked.
#pragma once

#include "base/text.h"

// How a path below the current rpc is taken: as the rpc's input, or as plain
// configuration (paths that are staged in the configuration tree).
enum path_scope {
    path_scope_session,
    path_scope_configuration,
};

// The result is owned by the caller; null when the path cannot be resolved (logged)
// or memory runs out.
heap_text schema_path_of(const char *path, path_scope scope);
