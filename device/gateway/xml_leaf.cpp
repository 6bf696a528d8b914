#include "device/gateway/xml_leaf.h"

#include "device/gateway/xml_characters.h"

void xml_leaf_start(xml_leaf *leaf)
{
    leaf->size = 0;
    leaf->is_open = true;
}

void xml_leaf_text(xml_leaf *leaf, std::string_view piece)
{
    leaf->size += piece.copy(leaf->bytes + leaf->size, xml_leaf_size - leaf->size);
}

bool xml_leaf_end(xml_leaf *leaf, std::string_view *text)
{
    const bool is_leaf = leaf->is_open;
    leaf->is_open = false;
    *text = xml_trimmed({leaf->bytes, leaf->size});
    return is_leaf;
}
