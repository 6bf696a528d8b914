// The binary records of the schema database.
//
// Node record, little-endian:
//
//     offset  width  meaning
//          0    u16  flags: bit 0 configuration node, bits 6-10 node kind
//         12    i16  offset of the help text in the string area, 0 = none
//         14    i16  offset of the type name in the string area
//         18    i16  the help text is used only when its offset is below this
//         20         string area: zero-terminated strings, the first one empty
//
// Module record: from offset 43 the namespace, zero-terminated. All other bytes are
// zero.
#pragma once

#include <stddef.h>

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

constexpr unsigned record_config_flag = 1;
constexpr unsigned record_kind_shift = 6;
constexpr unsigned record_kind_mask = 0x1f;

constexpr size_t record_help_offset = 12;
constexpr size_t record_type_offset = 14;
constexpr size_t record_bound_offset = 18;

// The least that a record has; from there on stand the strings, or the namespace.
constexpr size_t node_record_minimum = 20;
constexpr size_t module_record_minimum = 43;
