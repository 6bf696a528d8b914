// From data paths to schema paths, and the look-ups by data path.
//
// A schema path is the data path with every predicate emptied (list[k=v] is
// list[]), with the choice and case levels put in, and inside an rpc with its
// input level put in. Paths are masked; results are owned by the caller, null
// when the path cannot be resolved or memory runs out.
#ifndef VANDEL_SCHEMA_SCHEMA_PATH_H
#define VANDEL_SCHEMA_SCHEMA_PATH_H

#include "schema/database.h"
#include "schema/key_set.h"

// How a path below the current rpc is taken: as the rpc's input, or as plain
// configuration (paths that are staged in the configuration tree).
enum path_scope {
    path_scope_session,
    path_scope_configuration,
};

heap_text schema_path_of(const char *path, path_scope scope);

// The record of a data path.
record_pair data_record_pair(const char *path, path_scope scope);

// The key leaves of the list at a data path, in the order of the database; 0,
// or -1 when the database cannot be read. A list without keys has none.
int list_keys(const char *list_path, key_names *keys);

#endif
