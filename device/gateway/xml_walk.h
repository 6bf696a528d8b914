// Walks through the elements of a complete XML text and tells where in it they stand.
//
// For messages that are cut apart at their tags and put together anew. libxml2 reads
// the text, in pieces, and no tree is built. What an element may cost does not grow with what
// stands around it: a start tag may hold 4096 bytes of attributes, elements may stand in one
// another 264 deep, at most 256 namespaces may be declared where an element stands, and a text may
// have some 65,000 names. Beyond that, at a document type, at a prefix without a namespace and at
// what is not well-formed, the walk fails.
#pragma once

#include <libxml/parser.h>
#include <stddef.h>
#include <string_view>

#include "format/namespaces.h"
#include "heap.h"

constexpr char netconf_base_namespace[] = NETCONF_BASE_NAMESPACE;

constexpr unsigned xml_depth_limit = 264;
constexpr unsigned xml_space_limit = 256;
constexpr size_t xml_leaf_size = 512;

// The depths of a message's elements. A part is a parameter of the operation; a datastore stands in
// a target or a source, and so does a configuration.
enum request_depth : unsigned {
    request_rpc = 1,
    request_operation,
    request_part,
    request_datastore,
};
enum reply_depth : unsigned { reply_root = 1, reply_data, reply_child };

// All but the namespace are parts of the text.
struct xml_element {
    std::string_view prefix;     // as written, with its colon
    std::string_view local;      // the name after the prefix
    std::string_view uri;        // its namespace, empty: none; lives as long as the walk
    std::string_view attributes; // as written, with the blanks around them
    size_t from;                 // where its start tag begins ...
    size_t content;              // ... and ends
    size_t end;                  // after its end tag, once that has been read
    bool has_operation;          // an attribute says what an edit shall do with it
};

// A namespace that is declared. Both live as long as the walk.
struct xml_space {
    std::string_view prefix; // empty: the default namespace
    std::string_view uri;
    unsigned depth; // of the element that declares it
};

enum xml_step {
    xml_step_on,
    xml_step_end,  // all is known: the rest is not read
    xml_step_fail, // the text is none that can be used
};

struct xml_walk;

// What is called on the way; each tells how to go on. The current element is
// open[depth - 1]. Start and text may be null.
struct xml_events {
    xml_step (*start)(void *context, const xml_walk *walk);
    xml_step (*text)(void *context, const xml_walk *walk, std::string_view text);
    xml_step (*end)(void *context, const xml_walk *walk);
};

using xml_parser = released_ptr<xmlParserCtxt, xmlFreeParserCtxt>;

// Value-initialise; it may be used again. Some 40 KB: no record for the stack.
struct xml_walk {
    std::string_view text;
    const xml_events *events;
    void *context; // of the events
    xml_step step;
    xml_parser parser;
    std::string_view usable; // the part of the text that the parser may get ...
    size_t given;            // ... and how much it has got
    size_t measured;         // how much has been looked at for long tags
    int known_names;         // that the parser has from earlier texts
    unsigned depth;          // elements that are open
    unsigned space_count;
    bool is_leaf; // no element has ended since the last start tag
    size_t leaf_size;
    char leaf[xml_leaf_size];
    xml_element open[xml_depth_limit];
    xml_space spaces[xml_space_limit];
};

// Walks until the end of the text or until an event says so. 0, or -1: it failed, or
// an event did, or there is no memory.
int xml_walk_run(xml_walk *walk, std::string_view text, const xml_events *events, void *context);

// The same with a walk of its own: afterwards nothing is left of the namespaces.
int xml_read(std::string_view text, const xml_events *events, void *context);

// The text of the element that ends, without the blanks around it; empty where it has children.
// What passes 512 bytes is left out.
std::string_view xml_walk_leaf(const xml_walk *walk);

// The namespace that a prefix (empty: the default one) stands for in the current
// element. Null: the prefix is not declared.
const xml_space *xml_walk_space(const xml_walk *walk, std::string_view prefix);

bool xml_element_is(const xml_element *element, std::string_view uri, std::string_view local);

// The same in the base namespace.
bool xml_is_base(const xml_element *element, std::string_view local);

// One attribute, its value as written.
struct xml_attribute {
    std::string_view name;
    std::string_view value;
    std::string_view quoted; // the value with its quotes
};

// Finds an attribute by its name as written. False: there is none.
bool xml_attribute_find(std::string_view attributes, std::string_view name,
                        xml_attribute *attribute);

// Cuts the first attribute off *rest, the attributes of an element. False: there is none.
bool xml_attribute_next(std::string_view *rest, xml_attribute *attribute);
