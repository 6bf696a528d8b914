// Thin ownership layer over libxml2's streaming reader.
#ifndef VANDEL_GATEWAY_XML_READER_H
#define VANDEL_GATEWAY_XML_READER_H

#include <libxml/xmlreader.h>
#include <memory>
#include <stddef.h>

#include "device/gateway/xml_walk.h"

struct xml_reader_deleter {
    void operator()(xmlTextReader *reader) const;
};
using xml_reader = std::unique_ptr<xmlTextReader, xml_reader_deleter>;

struct xml_text_deleter {
    void operator()(xmlChar *text) const;
};
using xml_text = std::unique_ptr<xmlChar, xml_text_deleter>;

// Opens a reader over text, which must outlive it. Nothing is fetched and
// nothing is printed. Null: out of memory, or more than INT_MAX bytes.
xml_reader xml_reader_open(const char *text, size_t size);

// Moves to the next start of an element. False: there is none, or an error.
bool xml_reader_next_element(xmlTextReader *reader);

// True when the element is that one.
bool xml_reader_is(xmlTextReader *reader, const char *namespace_uri, const char *name);

// The text content of the element, without the blanks around it; null when it
// has none. Cut short in place within *owner.
const char *xml_reader_trimmed_text(xmlTextReader *reader, xml_text *owner);

#endif
