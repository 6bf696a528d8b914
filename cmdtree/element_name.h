// The names of the elements that a path is written as.
//
// Whoever reads a request ends the session at a name that XML does not allow,
// so what cannot be named is kept out of every tree.
#pragma once

#include <string_view>

// A name as it stands in a path: it may carry the prefix of another module.
struct element_name {
    bool prefixed;
    std::string_view module;
    std::string_view local; // what the tag holds
};

// Parts a name, or a key, at its first ":".
element_name element_name_of(std::string_view name);

// True for a text, in UTF-8, that XML takes for a name without a colon.
bool is_xml_name(std::string_view text);

// Whether every component of a masked path below the module, and every key
// in a predicate, can be written as an element. The predicate must be closed
// and hold a key; the value of a key may be missing. Not one whose parents together
// have names of more than 64 MiB: as nodes they would fill the memory.
bool path_names_elements(std::string_view path);
