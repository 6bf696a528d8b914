// The binary records of the schema database and what the shell reads in them.
//
// Node record, little-endian, at least 20 bytes:
//
//     offset  width  meaning
//          0    u16  flags: bit 0 configuration node, bits 6-10 node kind
//         12    i16  offset of the help text in the string area, 0 = none
//         14    i16  offset of the type name in the string area
//         18    i16  the help text is used only when its offset is below this
//         20         string area: zero-terminated strings
//
// Module record, at least 43 bytes: from offset 43 the namespace, zero-terminated.
//
// Texts are views into the record. They start inside its string area and end
// with the record at the latest; a text that would not is empty.
#ifndef VANDEL_SCHEMA_RECORDS_H
#define VANDEL_SCHEMA_RECORDS_H

#include <stddef.h>
#include <string_view>

#include "shell/text.h"

enum node_kind : unsigned {
    node_kind_module = 0,
    node_kind_container = 1,
    node_kind_leaf = 2,
    node_kind_leaf_list = 3,
    node_kind_list = 4,
    node_kind_choice = 5,
    node_kind_case = 6,
    node_kind_rpc = 7,
    node_kind_input = 8,
    node_kind_browsable = 10, // browsed like a container
};

constexpr size_t node_record_minimum = 20;
constexpr size_t module_record_minimum = 43;

// A record's bytes, in one allocation behind this header.
struct schema_record {
    size_t size;
};

using record_ptr = malloc_ptr<schema_record>;

// A copy of the bytes; null when memory runs out.
record_ptr record_copy(const void *bytes, size_t size);

// A node record of the minimum length that holds nothing but its kind.
record_ptr record_of_kind(node_kind kind);

// The fields of a node record. A kind the shell does not know is given as it
// stands.
unsigned record_kind(const schema_record *record);
bool record_is_config(const schema_record *record);
std::string_view record_help(const schema_record *record);
std::string_view record_type_name(const schema_record *record);

// The kind of a node record that is still in the library's reply; size is at
// least the minimum.
unsigned record_kind_of_bytes(const void *bytes);

// The namespace in a module record.
std::string_view record_namespace(const schema_record *record);

#endif
