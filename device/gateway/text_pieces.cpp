#include "device/gateway/text_pieces.h"

#include <stddef.h>
#include <stdint.h>

namespace
{

constexpr uint32_t last_character = 0x10FFFF;

bool begins(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

std::string_view cut(std::string_view *rest, size_t size)
{
    const std::string_view piece = rest->substr(0, size);
    rest->remove_prefix(piece.size());
    return piece;
}

// Cuts off what stands up to closer, and the closer.
std::string_view cut_up_to(std::string_view *rest, std::string_view closer)
{
    const std::string_view piece = cut(rest, rest->find(closer));
    cut(rest, closer.size());
    return piece;
}

int digit_value(char digit, uint32_t base)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (base == 16 && digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return base == 16 && digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

// The number of a character reference's digits; 0: they are none.
uint32_t read_number(std::string_view digits)
{
    const uint32_t base = begins(digits, "x") ? 16 : 10;
    if (base == 16)
        digits.remove_prefix(1);
    uint32_t number = 0;
    for (const char digit : digits) {
        const int value = digit_value(digit, base);
        if (value < 0)
            return 0;
        number = number * base + static_cast<uint32_t>(value);
        if (number > last_character)
            return 0;
    }
    return number;
}

// The character that a reference names; 0: it is not known.
uint32_t read_reference(std::string_view name)
{
    constexpr struct {
        std::string_view name;
        char character;
    } known[] = {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto &each : known) {
        if (name == each.name)
            return static_cast<uint32_t>(each.character);
    }
    return begins(name, "#") ? read_number(name.substr(1)) : 0;
}

// Returns how many bytes the character takes.
size_t encode(uint32_t character, char bytes[4])
{
    if (character < 0x80) {
        bytes[0] = static_cast<char>(character);
        return 1;
    }
    const size_t size = character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
    for (size_t at = size - 1; at > 0; at--) {
        bytes[at] = static_cast<char>(0x80 | (character & 0x3F));
        character >>= 6;
    }
    bytes[0] = static_cast<char>(0xF00 >> size | character);
    return size;
}

// Takes the reference at the beginning of the rest.
std::string_view take_reference(text_pieces *pieces)
{
    constexpr size_t longest = 12;
    const size_t end = pieces->rest.substr(0, longest).find(';');
    if (end == std::string_view::npos)
        return cut(&pieces->rest, 1);
    const uint32_t character = read_reference(pieces->rest.substr(1, end - 1));
    if (character == 0)
        return cut(&pieces->rest, 1);
    cut(&pieces->rest, end + 1);
    return {pieces->character, encode(character, pieces->character)};
}

// Takes what begins with '<'; what it gives may be empty.
std::string_view take_aside(std::string_view *rest)
{
    constexpr std::string_view section = "<![CDATA[";
    if (begins(*rest, section)) {
        cut(rest, section.size());
        return cut_up_to(rest, "]]>");
    }
    if (begins(*rest, "<!--"))
        cut_up_to(rest, "-->");
    else if (begins(*rest, "<?"))
        cut_up_to(rest, "?>");
    else
        return cut(rest, 1);
    return {};
}

} // namespace

bool text_pieces_next(text_pieces *pieces, std::string_view *piece)
{
    while (!pieces->rest.empty()) {
        const size_t plain = pieces->rest.find_first_of("&<");
        if (plain != 0)
            *piece = cut(&pieces->rest, plain);
        else if (pieces->rest.front() == '&')
            *piece = take_reference(pieces);
        else
            *piece = take_aside(&pieces->rest);
        if (!piece->empty())
            return true;
    }
    return false;
}
