// Which prefixes a text uses: no more than a scan, which may see one too many.
#pragma once

#include <string_view>

constexpr std::string_view xml_prefix_declaration = "xmlns:";

// Cuts *rest after the next name that stands directly before a colon, and the colon. False:
// there is none.
bool xml_prefix_next(std::string_view *rest, std::string_view *name);
