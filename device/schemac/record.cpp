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

size_t get_u16(std::string_view bytes, size_t offset)
{
    const auto low = static_cast<unsigned char>(bytes[offset]);
    const auto high = static_cast<unsigned char>(bytes[offset + 1]);
    return low | static_cast<size_t>(high) << 8;
}

// The string at this place, up to its zero byte; empty when that is outside.
std::string get_string(std::string_view bytes, size_t place)
{
    if (place >= bytes.size())
        return "";
    return std::string(bytes.substr(place, bytes.find('\0', place) - place));
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

int node_record_read(std::string_view bytes, node_record *record)
{
    if (bytes.size() < node_record_minimum)
        return -1;
    const size_t flags = get_u16(bytes, 0);
    const size_t kind = flags >> record_kind_shift & record_kind_mask;
    if (kind < node_kind_container || kind > node_kind_input)
        return -1;
    const size_t help = get_u16(bytes, record_help_offset);
    record->kind = static_cast<node_kind>(kind);
    record->is_config = (flags & record_config_flag) != 0;
    record->type = get_string(bytes, node_record_minimum + get_u16(bytes, record_type_offset));
    record->help = help < get_u16(bytes, record_bound_offset)
                       ? get_string(bytes, node_record_minimum + help)
                       : "";
    return 0;
}

std::string module_record_namespace(std::string_view bytes)
{
    return get_string(bytes, module_record_minimum);
}
