// Marks of an element and all that is in it, by which it is compared.
//
// A mark is a number of 64 bits that is the same for the same content, and for
// different content differs but by an accident that nobody will see. So
// configurations of any size are compared without a tree of either, and without
// knowing their model, which says what a list's keys and what a value's type is.
//
// What a server may write in another way than it was told makes no difference,
// as far as that can be told without the model. To all marks: prefixes of
// element names, attributes, references and CDATA sections, comments, and text
// beside elements. To plain and loose: the order of elements, and blanks around
// values. To loose: the prefixes of values (a name of another module, which
// prefix stands for it), how numbers are written, and the order of words. Two
// marks rather than one, because a prefix is none where the other side does not
// declare it.
#ifndef VANDEL_GATEWAY_CONTENT_MARKS_H
#define VANDEL_GATEWAY_CONTENT_MARKS_H

#include <stdint.h>

#include "device/gateway/xml_scan.h"

struct content_marks {
    uint64_t exact;
    uint64_t plain;
    uint64_t loose;
    bool has_children;  // elements, not text
    bool has_operation; // it or something in it says what an edit shall do with it
};

// Reads an element, behind whose start tag the scan stands, and moves behind its
// end. False: the scan failed, or elements stand in elements more than 256 deep.
bool content_marks_read(xml_scan *scan, const xml_element *element, content_marks *marks);

#endif
