// XPath over replies, with the prefixes of their namespaces.
#pragma once

#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <memory>

#include "arena.h"
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
        give_back(object);
    }
};
using xml_doc = std::unique_ptr<xmlDoc, xml_deleter<xmlFreeDoc>>;
using xpath_result = std::unique_ptr<xmlXPathObject, xml_deleter<xmlXPathFreeObject>>;

struct xml_content_deleter {
    void operator()(xmlChar *text) const noexcept
    {
        xmlFree(text);
    }
};
using xml_content = std::unique_ptr<xmlChar, xml_content_deleter>;

// Prepares the use of libxml2, by the first thread, before the second one starts. What
// libxml2 sets up for itself is left to the first document: most commands parse none.
void xml_init();

// Sets libxml2 up, and keeps it from printing its own errors in the calling thread;
// called before each use, and done once.
void xml_ready();

// The same in a thread that is not the first; -1 when there is no memory for what
// libxml2 keeps for it.
int xml_thread_init();

// Parses a whole message, blank text nodes removed; null when it is not
// well-formed or memory runs out.
xml_doc xml_parse(const char *text, size_t length);

// Adds a prefix in front; 0, or -1 when memory runs out. A prefix that the list
// already holds keeps its first namespace.
int ns_add(ns_list *list, const char *prefix, const char *uri);

// Evaluates expression over document; a node set with at least one node, or null.
xpath_result xpath_eval(xmlDoc *document, const char *expression, const ns_list &namespaces);

// The text inside a node, the texts of its descendants joined; null when memory
// runs out.
xml_content xml_node_content(const xmlNode *node);
