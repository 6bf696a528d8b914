// What a schema database holds, read and decoded.
#ifndef VANDEL_SCHEMAC_STORED_H
#define VANDEL_SCHEMAC_STORED_H

#include <map>
#include <stdint.h>
#include <string>
#include <vector>

#include "device/schemac/content.h"
#include "device/schemac/database.h"
#include "device/schemac/record.h"

// An open database. After a failure, which is told once, everything reads as
// missing, so that only the end of a long walk has to ask for the cause.
struct stored_schema {
    connection_ptr connection;
    std::string failure; // empty: none
};

// Where a node stands: what its children's names are relative to.
struct stored_place {
    std::string path;        // under which it is stored
    std::string module;      // the node's
    std::string data_module; // that of the nearest data node
    bool is_module;
    node_record record;     // of a node
    std::string name_space; // of a module
    uint64_t bytes;         // of its name and record
};

// A hash in the order in which it is stored, or by names where the server has
// lost that. Missing: no field.
struct stored_hash {
    bool is_ordered;
    std::vector<hash_field> fields;
};

stored_hash stored_read(stored_schema *schema, const std::string &key);

// The fields of a note, by their names.
std::map<std::string, std::string> stored_note(stored_schema *schema, const char *note);

// The modules, by their names.
std::vector<stored_place> stored_modules(stored_schema *schema);

// The hash that holds the children of a place.
std::string stored_children_key(const stored_place *parent);

// The children of a place, in the order of the model where that is known. What
// is no record is left out.
std::vector<stored_place> stored_children(stored_schema *schema, const stored_place *parent);

// The names of a list's keys.
std::vector<std::string> stored_keys(stored_schema *schema, const stored_place *list);

// The name of the place in its parent, as an operator types it.
std::string stored_name(const stored_place *place);

#endif
