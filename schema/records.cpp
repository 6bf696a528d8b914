#include "schema/records.h"

#include <stdint.h>
#include <string.h>

#include "bounded.h"

namespace
{

const uint8_t *bytes_of(const schema_record *record)
{
    return reinterpret_cast<const uint8_t *>(record + 1);
}

unsigned read_u16(const uint8_t *at)
{
    return at[0] | static_cast<unsigned>(at[1]) << 8;
}

int read_i16(const uint8_t *at)
{
    return static_cast<int16_t>(read_u16(at));
}

unsigned kind_of(const uint8_t *bytes)
{
    return read_u16(bytes) >> record_kind_shift & record_kind_mask;
}

struct kind_records {
    char bytes[record_kind_mask + 1][node_record_minimum] = {};

    constexpr kind_records()
    {
        for (unsigned kind = 0; kind <= record_kind_mask; kind++) {
            const unsigned flags = kind << record_kind_shift;
            bytes[kind][0] = static_cast<char>(flags & UINT8_MAX);
            bytes[kind][1] = static_cast<char>(flags >> 8);
        }
    }
};

std::string_view string_area_text(const schema_record *record, int offset)
{
    const size_t at = node_record_minimum + static_cast<size_t>(offset);
    if (offset < 0 || at >= record->size)
        return {};
    const char *start = reinterpret_cast<const char *>(bytes_of(record)) + at;
    return {start, strnlen(start, record->size - at)};
}

} // namespace

record_ptr record_copy(std::string_view bytes)
{
    size_t total = 0;
    if (!size_add(sizeof(schema_record), bytes.size(), &total))
        return nullptr;
    record_ptr record(static_cast<schema_record *>(calloc(1, total)));
    if (record) {
        record->size = bytes.size();
        memcpy_s(record.get() + 1, bytes.size(), bytes.data(), bytes.size());
    }
    return record;
}

std::string_view record_of_kind(node_kind kind)
{
    static constexpr kind_records records;
    return {records.bytes[kind], node_record_minimum};
}

bool is_record_of_kind(std::string_view bytes, node_kind kind)
{
    return bytes.size() >= node_record_minimum &&
           kind_of(reinterpret_cast<const uint8_t *>(bytes.data())) == kind;
}

unsigned record_kind(const schema_record *record)
{
    return kind_of(bytes_of(record));
}

bool record_is_config(const schema_record *record)
{
    return (read_u16(bytes_of(record)) & record_config_flag) != 0;
}

std::string_view record_help(const schema_record *record)
{
    const int offset = read_i16(bytes_of(record) + record_help_offset);
    const int bound = read_i16(bytes_of(record) + record_bound_offset);
    if (offset == 0 || offset >= bound)
        return {};
    return string_area_text(record, offset);
}

std::string_view record_type_name(const schema_record *record)
{
    return string_area_text(record, read_i16(bytes_of(record) + record_type_offset));
}

std::string_view record_namespace(std::string_view bytes)
{
    bytes.remove_prefix(module_record_minimum);
    return text_slice(bytes, 0, bytes.find('\0'));
}
