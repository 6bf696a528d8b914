#include "tinyrl/utf8.h"

#include <iterator>

#include "code_point.h"

namespace
{

constexpr size_t longest_character = 4;

// Characters that a terminal shows two columns wide.
constexpr code_range wide_ranges[] = {
    {0x1100, 0x11ff}, {0x2e80, 0x303e},   {0x3040, 0xa4cf},   {0xac00, 0xd7af},
    {0xf900, 0xfaff}, {0xfe10, 0xfe1f},   {0xfe30, 0xfe6f},   {0xff00, 0xff60},
    {0xffe0, 0xffe6}, {0x1d300, 0x1d35f}, {0x20000, 0x2b81f}, {0x2f800, 0x2fa1f},
};

} // namespace

size_t utf8_next_length(const char *text, size_t length)
{
    uint32_t code = 0;
    const size_t bytes = code_point_scan(text, length, &code);
    return bytes > 0 ? bytes : 1;
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
    for (size_t at = 0; at < length;) {
        uint32_t code = 0;
        const size_t bytes = code_point_scan(text + at, length - at, &code);
        columns +=
            bytes > 0 && code_point_is_among(code, wide_ranges, std::size(wide_ranges)) ? 2 : 1;
        at += bytes > 0 ? bytes : 1;
    }
    return columns;
}
