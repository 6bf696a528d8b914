// What the shell reads in the records of the database (format/schema_record.h).
//
// Texts are views into the record. They start inside its string area and end
// with the record at the latest; a text that would not is empty.
#pragma once

#include <stddef.h>
#include <string_view>

#include "base/text.h"
#include "format/schema_record.h"

// A record's bytes, in one allocation after this header.
struct schema_record {
    size_t size;
};

using record_ptr = malloc_ptr<schema_record>;

// A copy of the bytes; null when memory runs out.
record_ptr record_copy(std::string_view bytes);

// The bytes of a node record of the minimum length that holds nothing but its kind.
std::string_view record_of_kind(node_kind kind);

// The fields of a node record. A kind the shell does not know is given as it
// stands.
unsigned record_kind(const schema_record *record);
bool record_is_config(const schema_record *record);
std::string_view record_help(const schema_record *record);
std::string_view record_type_name(const schema_record *record);

// Whether bytes that are still in the library's reply are a node record of this kind.
bool is_record_of_kind(std::string_view bytes, node_kind kind);

// The namespace in the bytes of a module record, at least module_record_minimum of them.
std::string_view record_namespace(std::string_view bytes);
