// Which characters of a server's message pass as they are: not those that XML forbids or a terminal
// obeys (blank_filter.h), nor ';', which may end a reference to one.
#pragma once

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

// What a byte may be.
enum xml_class : uint8_t {
    xml_class_open = 1,  // '<'
    xml_class_close = 2, // '>'
    xml_class_quote = 4, // '"'
    xml_class_apostrophe = 8,
    xml_class_text = 16, // all but '<' and blanks
    xml_class_odd = 32,  // does not pass, or is of a character of several bytes
    xml_class_wide = 64, // the latter
};

struct xml_class_table {
    uint8_t of[256];
};
extern const xml_class_table xml_classes;

// Whether the byte is of one of these classes.
inline bool xml_is_of(char byte, uint8_t classes)
{
    return (xml_classes.of[static_cast<unsigned char>(byte)] & classes) != 0;
}

// Returns the end of the characters of several bytes that stand at from and pass, up to stop.
const char *xml_skip_wide(const char *from, const char *stop);

// Reads the control that the size bytes (at least 1) at data begin with. Returns
// its length, or 0 where they begin with none.
size_t xml_control_read(const char *data, size_t size, uint32_t *code);

// The size of the number that the text ends in, if that is a carriage return's in a
// reference that lacks nothing but its ';'; otherwise 0.
size_t xml_return_number_size(std::string_view text);
