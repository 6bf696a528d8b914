// Marks of an element and all that is in it, by which it is compared.
//
// A mark is a number of 64 bits that is the same for the same content, and for
// different content differs but by an accident that nobody will see, nor bring
// about: it holds in one process only. So
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
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string_view>

#include "device/gateway/xml_walk.h"

constexpr unsigned marks_depth_limit = 256;

// A longer word is neither a number nor the name of something.
constexpr size_t marks_word_limit = 256;

struct content_marks {
    uint64_t exact;
    uint64_t plain;
    uint64_t loose;
    bool has_children;  // elements, not text
    bool has_operation; // it or something in it says what an edit shall do with it
};

// An element that is being marked; plain and loose are sums over its children.
struct marks_frame {
    content_marks marks;
    uint64_t name;
};

// The text of the innermost element, as far as it is known.
struct marks_value {
    uint64_t exact;
    uint64_t whole;     // all since the first character that is no blank ...
    uint64_t plain;     // ... up to the last one
    uint64_t words;     // a sum, so that their order makes no difference
    uint64_t word_mark; // of the last word
    size_t word_size;   // of all of it; what passes the limit is in the mark only
    bool has_blanks;
    char word[marks_word_limit];
};

// Marks in the making, of one element at a time. All zero at its beginning.
struct marks_builder {
    unsigned depth;
    marks_value value;
    marks_frame frames[marks_depth_limit];
};

// Takes the start of the walk's current element: the one to be marked, or one in
// it. -1: they stand in one another more than 256 deep.
int marks_start(marks_builder *builder, const xml_walk *walk);

// Takes text of the current element.
void marks_text(marks_builder *builder, const xml_walk *walk, std::string_view text);

// Takes the end of the current element and gives its marks.
content_marks marks_end(marks_builder *builder, const xml_walk *walk);
