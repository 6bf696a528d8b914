#include "tinyrl/utf8.h"

#include <stdint.h>

namespace
{

constexpr size_t longest_character = 4;

struct code_range {
    uint32_t first;
    uint32_t last;
};

// Characters that a terminal shows two columns wide.
constexpr code_range wide_ranges[] = {
    {0x1100, 0x11ff}, {0x2e80, 0x303e},   {0x3040, 0xa4cf},   {0xac00, 0xd7af},
    {0xf900, 0xfaff}, {0xfe10, 0xfe1f},   {0xfe30, 0xfe6f},   {0xff00, 0xff60},
    {0xffe0, 0xffe6}, {0x1d300, 0x1d35f}, {0x20000, 0x2b81f}, {0x2f800, 0x2fa1f},
};

// The code point of a character of length bytes, 2 to 4.
uint32_t code_point(const char *text, size_t length)
{
    uint32_t code = static_cast<unsigned char>(text[0]) & (0x7fU >> length);
    for (size_t i = 1; i < length; i++)
        code = code << 6 | (static_cast<unsigned char>(text[i]) & 0x3fU);
    return code;
}

bool is_wide(uint32_t code)
{
    for (const code_range &range : wide_ranges) {
        if (code >= range.first && code <= range.last)
            return true;
    }
    return false;
}

} // namespace

bool utf8_is_continuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

size_t utf8_continuations(char lead)
{
    unsigned byte = static_cast<unsigned char>(lead);
    if (byte >= 0xf0 && byte < 0xf8)
        return 3;
    if (byte >= 0xe0 && byte < 0xf0)
        return 2;
    return byte >= 0xc0 && byte < 0xe0 ? 1 : 0;
}

size_t utf8_next_length(const char *text, size_t length)
{
    size_t following = utf8_continuations(text[0]);
    if (following >= length)
        return 1;
    for (size_t i = 1; i <= following; i++) {
        if (!utf8_is_continuation(text[i]))
            return 1;
    }
    return following + 1;
}

size_t utf8_previous_length(const char *text, size_t position)
{
    size_t length = position < longest_character ? position : longest_character;
    for (; length > 1; length--) {
        if (utf8_next_length(text + position - length, length) == length)
            return length;
    }
    return 1;
}

size_t utf8_columns(const char *text, size_t length)
{
    size_t columns = 0;
    size_t position = 0;
    while (position < length) {
        size_t bytes = utf8_next_length(text + position, length - position);
        bool wide = bytes > 1 && is_wide(code_point(text + position, bytes));
        columns += wide ? 2 : 1;
        position += bytes;
    }
    return columns;
}
