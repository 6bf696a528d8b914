// Walks through the elements of a complete XML text without building a tree.
//
// For messages that are cut apart at their tags and put together anew:
// positions are bytes of the text, and names and attributes are parts of it. The
// scan checks only what it needs to tell tags from text, and the end tags of the
// elements in its way, so what it skips is not proven to be well-formed. It fails at what it cannot
// follow, document type declarations included, and at what it would have to interpret first: a
// namespace with references, tabs, line breaks or a '"' in it, and an element in its way with more
// than 4096 bytes of attributes.
#ifndef VANDEL_GATEWAY_XML_SCAN_H
#define VANDEL_GATEWAY_XML_SCAN_H

#include <stddef.h>
#include <string_view>

// Set text, the rest zero. After a failure nothing more is found.
struct xml_scan {
    std::string_view text;
    size_t at; // behind the last tag
    bool failed;
};

// All texts are parts of the scanned one.
struct xml_element {
    const xml_element *parent;   // null: it is the root
    std::string_view prefix;     // as written, with its colon
    std::string_view local;      // the name behind the prefix
    std::string_view uri;        // its namespace; empty: none
    std::string_view attributes; // as written, with the blanks around them
    size_t from;                 // where its start tag begins ...
    size_t content;              // ... and ends
    bool is_empty;               // one tag is all of it: "<x/>"
};

// One attribute, its value as written.
struct xml_attribute {
    std::string_view name;
    std::string_view value;
    char quote;
};

// Moves to the root element.
bool xml_scan_root(xml_scan *scan, xml_element *root);

// Moves to the next child of parent, which must stay where it is. The scan has
// to stand behind parent's start tag or behind the last child, which was walked
// through or skipped. False: it stands behind parent's end, or failed.
bool xml_scan_child(xml_scan *scan, const xml_element *parent, xml_element *child);

// Moves from within an element, not from within a child, behind its end.
// Returns where its content ends.
size_t xml_scan_skip(xml_scan *scan, const xml_element *element);

bool xml_element_is(const xml_element *element, std::string_view uri, std::string_view local);

// Finds what a prefix, given with its colon, stands for within element (the
// empty prefix: the default namespace). The namespace is as written. False: the
// prefix is not declared.
bool xml_namespace_find(const xml_element *element, std::string_view prefix, std::string_view *uri);

// Cuts the first attribute off *rest. False: there is none, or it is none.
bool xml_attribute_next(std::string_view *rest, xml_attribute *attribute);

#endif
