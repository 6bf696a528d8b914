#include "cmdtree/element_name.h"

#include <iterator>
#include <stddef.h>
#include <stdint.h>

#include "base/text.h"
#include "code_point.h"

namespace
{

constexpr size_t longest_above = 64 << 20; // bytes; a schema may make up levels

// Where a name may start, but for the colon.
constexpr code_range start_characters[] = {
    {'A', 'Z'},       {'_', '_'},       {'a', 'z'},       {0xC0, 0xD6},     {0xD8, 0xF6},
    {0xF8, 0x2FF},    {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F},
    {0x2C00, 0x2FEF}, {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};

// What else may follow.
constexpr code_range further_characters[] = {
    {'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040},
};

bool starts_name(uint32_t character)
{
    return code_point_is_among(character, start_characters, std::size(start_characters));
}

bool continues_name(uint32_t character)
{
    return starts_name(character) ||
           code_point_is_among(character, further_characters, std::size(further_characters));
}

// Takes the first character off a text that is not empty; 0, which is in no name,
// where none begins.
uint32_t take_character(std::string_view *text)
{
    uint32_t character = 0;
    const size_t length = code_point_read(text->data(), text->size(), &character);
    text->remove_prefix(length);
    return length > 0 ? character : 0;
}

bool is_named(std::string_view name)
{
    return is_xml_name(element_name_of(name).local);
}

bool names_keys(std::string_view predicate)
{
    if (predicate.empty())
        return false;
    while (!predicate.empty()) {
        std::string_view pair = text_take(&predicate, ',');
        if (!is_named(text_take(&pair, '=')))
            return false;
    }
    return true;
}

bool names_element(std::string_view component)
{
    const size_t open = component.find('[');
    if (open == std::string_view::npos)
        return is_named(component);
    const size_t close = component.find(']', open);
    return close != std::string_view::npos && is_named(text_slice(component, 0, open)) &&
           names_keys(text_slice(component, open + 1, close - open - 1));
}

} // namespace

element_name element_name_of(std::string_view name)
{
    const size_t colon = name.find(':');
    if (colon == std::string_view::npos)
        return {false, {}, name};
    return {true, text_slice(name, 0, colon), text_slice(name, colon + 1)};
}

bool is_xml_name(std::string_view text)
{
    if (text.empty() || !starts_name(take_character(&text)))
        return false;
    while (!text.empty()) {
        if (!continues_name(take_character(&text)))
            return false;
    }
    return true;
}

bool path_names_elements(std::string_view path)
{
    size_t above = 0; // the length of all paths above, each of which a tree keeps
    for (size_t slash = path.find('/', 1); slash < path.size(); slash = path.find('/', slash + 1)) {
        const std::string_view rest = text_slice(path, slash + 1);
        above += slash;
        if (above > longest_above || !names_element(text_slice(rest, 0, rest.find('/'))))
            return false;
    }
    return true;
}
