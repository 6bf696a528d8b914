// The root element of a message, found without a document, which would take some
// twenty times the memory of the text.
#ifndef VANDEL_LINK_XML_ROOT_H
#define VANDEL_LINK_XML_ROOT_H

#include <stddef.h>

enum xml_root_result {
    xml_root_is_other,
    xml_root_is_it,
    xml_root_unknown, // the text is not well-formed, or memory runs out
};

// Whether the root of a message (length bytes) is the element of this name in
// this namespace. The whole message is read, as xml_parse would (link/xpath.h).
xml_root_result xml_root_find(const char *text, size_t length, const char *name,
                              const char *name_space);

#endif
