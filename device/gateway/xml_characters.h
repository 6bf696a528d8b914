// Which characters of a server's message pass as they are.
//
// What does not: bytes that are not UTF-8 and characters that XML forbids, with
// which no message can go on; controls: U+007F to U+009F, which XML allows and a
// terminal obeys; carriage returns; and ';', which may end a reference to one.
#ifndef VANDEL_GATEWAY_XML_CHARACTERS_H
#define VANDEL_GATEWAY_XML_CHARACTERS_H

#include <stddef.h>
#include <stdint.h>
#include <string_view>

constexpr std::string_view xml_blanks = " \t\r\n";

inline bool xml_is_blank(char byte)
{
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// The text without the blanks around it.
std::string_view xml_trimmed(std::string_view text);

// Returns the first byte of what does not pass from from on, or stop.
const char *xml_find_odd(const char *from, const char *stop);

// Reads the control that the size bytes (at least 1) at data begin with. Returns
// its length, or 0 where they begin with none.
size_t xml_control_read(const char *data, size_t size, uint32_t *code);

// The size of the number that the text ends in, if that is a carriage return's in a
// reference that lacks nothing but its ';'; otherwise 0.
size_t xml_return_number_size(std::string_view text);

#endif
