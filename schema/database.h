// Look-ups in the compiled YANG schema: redis database 4.
//
// Every schema node with children is a hash named by its schema path, whose
// fields are the children's names and whose values are their records
// (schema/records.h). The hash "/" holds the modules. A list L under P has the
// hash P/L with its keys alone and the hash P/L[] with all children.
//
// Schema paths and data paths are masked (schema/masking.h). A look-up gives
// nothing (null, false) for a null argument, a missing or too short record, a lost
// connection, and when memory runs out.
#pragma once

#include <string_view>

#include "base/text.h"
#include "schema/command_reads.h"
#include "schema/records.h"

// All fields of a hash. count is 0 when there is no reply.
struct hash_fields {
    reply_ptr reply;
    size_t count = 0;
};

// Connects the session to the database and selects number 4; 0 or -1.
int schema_connect();

// Reads a whole hash. Without a reply the connection failed or the hash is
// missing; the library does not tell which.
hash_fields schema_hash(std::string_view hash);

// Name and value of field `index` (below count); a view without data for an
// element that is no string.
std::string_view hash_field_name(const hash_fields &fields, size_t index);
std::string_view hash_field_value(const hash_fields &fields, size_t index);

// The record of the node at a schema path; null for "/" and for a module. A
// predicate of the last component is ignored: L[] and L[k=v] both read L.
record_ptr node_record(std::string_view schema_path);

// Whether a module has a record, also when there is no memory for a copy of it.
bool module_is_known(std::string_view module);

// The namespace of a module, and of the one that a path begins with.
heap_text module_namespace(std::string_view module);
heap_text path_namespace(const char *path);

// Whether the hash has the field, which is cut at its first "[".
bool schema_has_field(std::string_view hash, std::string_view field);

// Whether a schema path names a node; "/" does.
bool schema_path_exists(std::string_view schema_path);

// The name of an rpc's input node: the first field of kind 8 in the hash of the
// rpc's schema path whose name is one step of a path.
heap_text rpc_input_name(std::string_view rpc_schema_path);
