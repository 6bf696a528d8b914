#include "device/gateway/xml_characters.h"

#include "code_point.h"

namespace
{

constexpr xml_class_table make_classes()
{
    xml_class_table made{};
    uint8_t *of = made.of;
    for (unsigned byte = 0; byte < 256; byte++)
        of[byte] = byte < ' ' || byte > '~' ? xml_class_text | xml_class_odd : xml_class_text;
    for (unsigned byte = 0x80; byte < 256; byte++)
        of[byte] |= xml_class_wide;
    of[' '] = of['\t'] = of['\n'] = 0;
    of['\r'] = xml_class_odd;
    of['<'] = xml_class_open;
    of['>'] |= xml_class_close;
    of['"'] |= xml_class_quote;
    of['\''] |= xml_class_apostrophe;
    of[';'] |= xml_class_odd;
    return made;
}

bool is_control(uint32_t code)
{
    return code >= 0x7f && code <= 0x9f;
}

} // namespace

constexpr xml_class_table xml_classes = make_classes();

std::string_view xml_trimmed(std::string_view text)
{
    const size_t from = text.find_first_not_of(xml_blanks);
    if (from == std::string_view::npos)
        return {};
    return text.substr(from, text.find_last_not_of(xml_blanks) + 1 - from);
}

const char *xml_skip_wide(const char *from, const char *stop)
{
    while (from < stop) {
        uint32_t code;
        const size_t length = code_point_read(from, static_cast<size_t>(stop - from), &code);
        if (length < 2 || is_control(code) || code == 0xfffe || code == 0xffff)
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
