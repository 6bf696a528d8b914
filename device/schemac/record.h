// Making the records of the schema database (format/schema_record.h).
#pragma once

#include <string>
#include <string_view>

#include "format/schema_record.h"

// Type and help may be empty. A help text that would need an offset which the
// record cannot hold is left out.
std::string make_node_record(node_kind kind, bool is_config, std::string_view type,
                             std::string_view help);

std::string make_module_record(std::string_view name_space);
