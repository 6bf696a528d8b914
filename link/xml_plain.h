// XML of the plain kind that replies are made of, recognised without a parser.
#pragma once

#include <stddef.h>

enum xml_look {
    xml_look_plain,
    xml_look_odd,     // only a parser can tell
    xml_look_refused, // by a parser, because of the length of a text in it
};

// Plain is a well-formed document of elements, attributes and text, none of them
// unusual, whose root has another local name than `name`. Reads each byte once, allocates
// nothing.
xml_look xml_look_at(const char *text, size_t length, const char *name);

inline bool xml_is_plain(const char *text, size_t length, const char *name)
{
    return xml_look_at(text, length, name) == xml_look_plain;
}
