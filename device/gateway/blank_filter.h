// Makes a server's message compact: takes out the blank text between elements.
//
// What is taken out: text of blanks, tabs, carriage returns and line feeds only,
// unless it is all that stands between a start tag and its own end tag (a leaf
// may have the value " "); blanks around the root element; a byte order mark
// and the XML declaration, which say nothing new (NETCONF is always UTF-8) and
// would deepen the indentation of a printed reply. Everything else passes byte
// for byte: tags with their attributes, comments, processing instructions, CDATA
// sections, and blanks that touch real text or a CDATA section.
//
// Two things are written in another way, because a terminal obeys them.
// U+007F to U+009F, which XML allows, become character references. A CDATA
// section is interrupted for one; in comments and instructions, where a reference
// has no meaning, it merely shows what was there. And no carriage return is left
// that a shell would print: a raw one is a line end, alone or with the line feed
// after it, and becomes a line feed, as every XML parser reads it; a reference to
// one becomes "&#xD;", which shells print as it stands.
//
// The filter takes the message in pieces cut anywhere. It checks each character,
// but not what a reference stands for, which nobody here resolves; and of the
// markup only what it needs to tell tags from text, so a message that passes is
// not proven to be well-formed. What it cannot follow is refused, document type
// declarations (which NETCONF forbids) included.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "device/gateway/byte_buffer.h"

// All zero: ready for a message. The interval is what stands between two tags:
// text, comments, processing instructions and CDATA sections.
struct blank_filter {
    uint8_t state;        // what the next byte belongs to
    uint8_t waiting_size; // bytes of waiting
    char waiting[16];     // what the last piece ended in, and what follows decides about
    char quote;           // that ends the attribute value
    bool after_start;     // the interval began after a start tag
    bool has_text;        // the interval holds more than blanks
    bool has_asides;      // the interval holds comments or processing instructions
    bool has_root;        // the root element has begun
    size_t depth;         // elements that are open
    size_t interval;      // where in the output the interval begins
    size_t aside_from;    // where in the output the current aside begins
};

// Filters the next piece of a message and appends the result to out, which
// must stay the same buffer, otherwise untouched, for the whole message and be
// empty at its beginning. Blanks are in out until the next tag decides about
// them, so they count toward limit till then. Work is linear in the size of
// the message.
//
// Null, or what is wrong, a static text; after that feed nothing more.
const char *blank_filter_feed(blank_filter *filter, const char *data, size_t size, byte_buffer *out,
                              size_t limit);

// Ends the message: out then holds all of it, and the filter is ready for the next one. 0, or -1:
// the root element is not complete.
int blank_filter_end(blank_filter *filter, byte_buffer *out);

// True while nothing but blanks of a message has been seen.
bool blank_filter_idle(const blank_filter *filter);
