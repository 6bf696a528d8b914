// XPath over replies, with the prefixes of their namespaces.
#pragma once

#include <memory>

#include "arena.h"
#include "link/xml_library.h"
#include "link/xml_memory.h"
#include "scrub.h"

struct ns_entry {
    ns_entry *next;
    char *prefix;
    char *uri;
};

// Prefixes and what they stand for; owns its entries. "base10", which stands for the
// NETCONF base namespace, is in every list.
struct ns_list {
    ns_entry *first = nullptr;
    arena memory;
};

// Gives an object back to libxml2.
template <auto give_back>
struct xml_deleter {
    template <class Object>
    void operator()(Object *object) const noexcept
    {
        scrub_registers();
        (libxml2.*give_back)(object);
    }
};
using xml_doc = std::unique_ptr<xmlDoc, xml_deleter<&xml_functions::free_doc>>;
using xpath_result =
    std::unique_ptr<xmlXPathObject, xml_deleter<&xml_functions::xpath_free_object>>;

struct xml_content_deleter {
    void operator()(xmlChar *text) const noexcept
    {
        xml_memory_release(text);
    }
};
using xml_content = std::unique_ptr<xmlChar, xml_content_deleter>;

// Parses a whole message, blank text nodes removed; null when it is not
// well-formed, memory runs out, or there is no libxml2.
xml_doc xml_parse(const char *text, size_t length);

// Adds a prefix in front; 0, or -1 when memory runs out. A prefix that the list
// already holds keeps its first namespace.
int ns_add(ns_list *list, const char *prefix, const char *uri);

// Evaluates expression over document; a node set with at least one node, or null.
xpath_result xpath_eval(xmlDoc *document, const char *expression, const ns_list &namespaces);

// The text inside a node, the texts of its descendants joined; null when memory
// runs out.
xml_content xml_node_content(const xmlNode *node);
