// The binary records of the schema database.
//
// Node record, little-endian: u16 flags (bit 0 configuration, bits 6 to 10
// kind), 10 zero bytes, i16 offset of the help text, i16 offset of the type
// name, 2 zero bytes, i16 size of the string area, string area. The string area
// begins with the empty string, at offset 0; then follow the type name and the
// help text, where there are any. Module record: 43 zero bytes and the
// namespace with its terminating zero.
#ifndef VANDEL_SCHEMAC_RECORD_H
#define VANDEL_SCHEMAC_RECORD_H

#include <string>
#include <string_view>

enum class node_kind : unsigned {
    container = 1,
    leaf = 2,
    leaf_list = 3,
    list = 4,
    choice = 5,
    choice_case = 6,
    rpc = 7,
    input = 8,
};

// Type and help may be empty. A help text that would need an offset which the
// record cannot hold is left out.
std::string make_node_record(node_kind kind, bool is_config, std::string_view type,
                             std::string_view help);

std::string make_module_record(std::string_view name_space);

#endif
