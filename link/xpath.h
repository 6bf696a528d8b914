// XPath over replies, with the prefixes of their namespaces.
//
// A namespace list is a head pointer, null when empty; the caller owns it and
// gives it back with ns_free. "base10" always stands for the NETCONF base
// namespace.
#ifndef VANDEL_LINK_XPATH_H
#define VANDEL_LINK_XPATH_H

#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <memory>

#include "scrub.h"

struct ns_entry {
    char *prefix;     // owned
    char *uri;        // owned
    ns_entry *next;   // next entry
    ns_entry **pprev; // address of the link that points at this entry
};

struct xml_doc_deleter {
    void operator()(xmlDoc *document) const noexcept
    {
        scrub_registers();
        xmlFreeDoc(document);
    }
};
using xml_doc = std::unique_ptr<xmlDoc, xml_doc_deleter>;

struct xpath_result_deleter {
    void operator()(xmlXPathObject *result) const noexcept
    {
        scrub_registers();
        xmlXPathFreeObject(result);
    }
};
using xpath_result = std::unique_ptr<xmlXPathObject, xpath_result_deleter>;

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

// Adds a prefix at the head; 0, or -1 when memory runs out. A prefix that the
// list already holds keeps its first namespace.
int ns_add(ns_entry **head, const char *prefix, const char *uri);

// Releases every entry; the head is null afterwards.
void ns_free(ns_entry **head);

// Evaluates expression over document; a node set with at least one node, for
// the caller to free with xmlXPathFreeObject, or null.
xmlXPathObject *xpath_eval(xmlDoc *document, const char *expression, ns_entry **head);

// The text inside a node, the texts of its descendants joined; null when memory
// runs out.
xml_content xml_node_content(const xmlNode *node);

#endif
