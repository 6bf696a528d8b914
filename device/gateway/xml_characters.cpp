#include "device/gateway/xml_characters.h"

#include "code_point.h"

namespace
{

constexpr size_t block_size = 16;

bool is_plain(char byte)
{
    return byte >= ' ' && byte <= '~' && byte != ';';
}

// Without an early end, so that the compiler takes all bytes at once.
bool is_plain_block(const char *block)
{
    bool all = true;
    for (size_t at = 0; at < block_size; at++)
        all &= is_plain(block[at]);
    return all;
}

bool is_control(uint32_t code)
{
    return code >= 0x7f && code <= 0x9f;
}

// The length of the character at data when it passes, otherwise 0.
size_t passing_length(const char *data, size_t size)
{
    if (is_plain(*data) || *data == '\t' || *data == '\n')
        return 1;
    if (*data == ';')
        return 0;
    uint32_t code;
    const size_t length = code_point_read(data, size, &code);
    const bool passes = length > 1 && !is_control(code) && code != 0xfffe && code != 0xffff;
    return passes ? length : 0;
}

} // namespace

std::string_view xml_trimmed(std::string_view text)
{
    const size_t from = text.find_first_not_of(xml_blanks);
    if (from == std::string_view::npos)
        return {};
    return text.substr(from, text.find_last_not_of(xml_blanks) + 1 - from);
}

const char *xml_find_odd(const char *from, const char *stop)
{
    while (from < stop) {
        const auto size = static_cast<size_t>(stop - from);
        const bool skips = size >= block_size && is_plain_block(from);
        const size_t length = skips ? block_size : passing_length(from, size);
        if (length == 0)
            break;
        from += length;
    }
    return from;
}

size_t xml_control_read(const char *data, size_t size, uint32_t *code)
{
    const size_t length = code_point_read(data, size, code);
    return length > 0 && is_control(*code) ? length : 0;
}

// Leading zeros say nothing.
size_t xml_return_number_size(std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdefABCDEFx";
    const size_t opener = text.find_last_not_of(digits);
    if (opener == std::string_view::npos || opener == 0 || text.substr(opener - 1, 2) != "&#")
        return 0;
    const std::string_view number = text.substr(opener + 1);
    const bool is_hex = number.substr(0, 1) == "x";
    const size_t first = number.find_first_not_of('0', is_hex ? 1 : 0);
    if (first == std::string_view::npos)
        return 0;
    const std::string_view value = number.substr(first);
    const bool is_return = is_hex ? value == "D" || value == "d" : value == "13";
    return is_return ? number.size() : 0;
}
