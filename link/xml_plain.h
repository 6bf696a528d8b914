// XML of the plain kind that replies are made of, recognised without a parser.
#pragma once

#include <stddef.h>

// Whether the text is a well-formed document of elements, attributes and text, none of
// them unusual, whose root has another local name than `name`. Of what is not, nothing
// is known: only a parser can tell. Reads each byte once, allocates nothing.
bool xml_is_plain(const char *text, size_t length, const char *name);
