// The text of an element without children, on a walk (xml_walk.h).
#ifndef VANDEL_GATEWAY_XML_LEAF_H
#define VANDEL_GATEWAY_XML_LEAF_H

#include <stddef.h>
#include <string_view>

constexpr size_t xml_leaf_size = 512;

struct xml_leaf {
    char bytes[xml_leaf_size]; // what passes that is left out
    size_t size;
    bool is_open; // no child has ended since the last start tag
};

// For the events of a walk.
void xml_leaf_start(xml_leaf *leaf);
void xml_leaf_text(xml_leaf *leaf, std::string_view piece);

// False: the element has children. Otherwise *text is its text without the blanks around it,
// until the next event.
bool xml_leaf_end(xml_leaf *leaf, std::string_view *text);

#endif
