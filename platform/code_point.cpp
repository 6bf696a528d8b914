#include "code_point.h"

namespace
{

// The lowest code that a character of so many bytes is for.
constexpr uint32_t lowest_code[] = {0, 0, 0x80, 0x800, 0x10000};
constexpr uint32_t highest_code = 0x10ffff;

bool is_surrogate(uint32_t code)
{
    return code >= 0xd800 && code <= 0xdfff;
}

} // namespace

bool code_point_is_among(uint32_t code, const code_range *ranges, size_t count)
{
    for (size_t i = 0; i < count; i++) {
        if (code <= ranges[i].last)
            return code >= ranges[i].first;
    }
    return false;
}

bool code_point_continues(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

size_t code_point_length(char lead)
{
    const auto byte = static_cast<unsigned char>(lead);
    if (byte < 0x80)
        return 1;
    if (byte < 0xc0 || byte >= 0xf8)
        return 0;
    return byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
}

size_t code_point_scan(const char *text, size_t size, uint32_t *code)
{
    const size_t length = code_point_length(text[0]);
    if (length == 0 || length > size)
        return 0;
    const auto lead = static_cast<unsigned char>(text[0]);
    *code = length == 1 ? lead : lead & (0x7fU >> length);
    for (size_t i = 1; i < length; i++) {
        if (!code_point_continues(text[i]))
            return 0;
        *code = *code << 6 | (static_cast<unsigned char>(text[i]) & 0x3fU);
    }
    return length;
}

size_t code_point_read(const char *text, size_t size, uint32_t *code)
{
    const size_t length = code_point_scan(text, size, code);
    if (length == 0 || *code < lowest_code[length])
        return 0;
    return *code <= highest_code && !is_surrogate(*code) ? length : 0;
}
