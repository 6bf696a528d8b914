// The elements at a path of a reply, found in its text: a document would take twenty
// times the memory, and most of the time.
//
// Only what is plain (link/xml_plain.h) is read, and of that what needs no rule of XML
// to be understood; all else is left to a document. Names and texts are parts of the
// reply, which outlives them. Nothing is allocated.
#pragma once

#include <stddef.h>
#include <string_view>

#include "link/xpath.h"

constexpr size_t select_limit = 16; // steps of a path, declarations in force, leaves of a record

// A name in a namespace.
struct xml_step {
    std::string_view name_space;
    std::string_view name;
};

// A prefix, empty for none, and what it stands for from an element of this depth on.
struct xml_declaration {
    std::string_view prefix;
    std::string_view name_space;
    size_t depth;
};

struct xml_selection {
    std::string_view rest; // what is still to be read
    size_t depth;          // of elements that are open,
    size_t matched;        // of which so many are those of the path
    size_t steps;
    size_t declarations;
    xml_step step[select_limit];
    xml_declaration declared[select_limit];
};

struct xml_leaf {
    std::string_view name;
    std::string_view text;
};

// An element in which there is nothing but leaves.
struct xml_record {
    size_t count;
    xml_leaf leaf[select_limit];
};

enum xml_select_result {
    xml_select_found,
    xml_select_end,     // there are no more
    xml_select_unknown, // a document can tell
};

// Prepares to read the elements that an expression of names alone, such as
// "/base10:rpc-reply/base10:data/m:c", finds in a plain text; false when a document has
// to tell.
bool xml_select_begin(xml_selection *selection, std::string_view text, std::string_view expression,
                      const ns_list &namespaces);

// The next of them, in their order. After the end, and after one that is not known,
// there is nothing more to be asked.
xml_select_result xml_select_next(xml_selection *selection, xml_record *record);
