// Making the records of the schema database (format/schema_record.h).
#ifndef VANDEL_SCHEMAC_RECORD_H
#define VANDEL_SCHEMAC_RECORD_H

#include <string>
#include <string_view>

#include "format/schema_record.h"

// Type and help may be empty. A help text that would need an offset which the
// record cannot hold is left out.
std::string make_node_record(node_kind kind, bool is_config, std::string_view type,
                             std::string_view help);

std::string make_module_record(std::string_view name_space);

// What a node record says.
struct node_record {
    node_kind kind;
    bool is_config;
    std::string type; // empty: none
    std::string help; // empty: none
};

// Decodes a node record as the shell does; 0, or -1 when it is too short for one
// or its kind is none that the compiler knows.
int node_record_read(std::string_view bytes, node_record *record);

// The namespace in a module record; empty when it is too short for one.
std::string module_record_namespace(std::string_view bytes);

#endif
