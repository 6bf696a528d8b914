#include "device/schemac/record.h"

#include <stdint.h>

namespace
{

// What the signed 16-bit fields can hold.
constexpr size_t largest_area = INT16_MAX;

void put_u16(std::string *record, size_t offset, size_t value)
{
    (*record)[offset] = static_cast<char>(value & 0xff);
    (*record)[offset + 1] = static_cast<char>(value >> 8 & 0xff);
}

// Appends a string to the area, which ends a record; its offset, or 0 when it is empty
// or too long.
size_t add_string(std::string *record, std::string_view text)
{
    const size_t offset = record->size() - node_record_minimum;
    if (text.empty() || text.size() > largest_area - 1 - offset)
        return 0;
    record->append(text);
    record->push_back('\0');
    return offset;
}

} // namespace

std::string make_node_record(node_kind kind, bool is_config, std::string_view type,
                             std::string_view help)
{
    std::string record;
    record.reserve(node_record_minimum + type.size() + help.size() + 3);
    record.resize(node_record_minimum + 1); // the area begins with the empty string
    put_u16(&record, 0,
            (static_cast<size_t>(kind) << record_kind_shift) |
                (is_config ? record_config_flag : 0));
    put_u16(&record, record_type_offset, add_string(&record, type));
    put_u16(&record, record_help_offset, add_string(&record, help));
    put_u16(&record, record_bound_offset, record.size() - node_record_minimum);
    return record;
}

std::string make_module_record(std::string_view name_space)
{
    std::string record(module_record_minimum, '\0');
    record.append(name_space);
    record.push_back('\0');
    return record;
}
