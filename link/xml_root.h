// The root element of a message, found without a document, which would take some
// twenty times the memory of the text.
#pragma once

#include <stddef.h>

enum xml_root_result {
    xml_root_differs,
    xml_root_matches,
    xml_root_unreadable, // the text is not well-formed
    xml_root_unread,     // no libxml2, or no memory for it
};

// Whether the root of a message (length bytes) is the element of this name in
// this namespace. The result is that of a document made by xml_parse
// (link/xpath.h): a message with a document type, or with a text in pieces of more than
// ten million bytes, which the parser treats otherwise in a document, is given one.
xml_root_result xml_root_find(const char *text, size_t length, const char *name,
                              const char *name_space);

// 1 if a message is a NETCONF notification, else 0; what cannot be parsed is none. Where
// there is no parser for it its first tag decides.
int is_notification(const char *message, size_t length);
