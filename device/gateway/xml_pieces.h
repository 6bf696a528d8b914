// A text cut at its markup, and the prefixes that it uses, without a parser: for requests of any
// size of which little is to be known. Nothing is checked.
#pragma once

#include <stddef.h>
#include <string_view>

enum xml_piece_kind {
    xml_piece_text, // up to the next markup
    xml_piece_cdata,
    xml_piece_aside, // a comment, an instruction, or the XML declaration
    xml_piece_start, // a start tag
    xml_piece_empty, // a tag that is start and end
    xml_piece_end,   // an end tag
};

struct xml_piece {
    xml_piece_kind kind;
    size_t from;
    size_t end;
};

// Gives the piece at *at, and moves *at after it. False: nothing is left, or what is left cannot
// be followed.
bool xml_piece_next(std::string_view text, size_t *at, xml_piece *piece);

constexpr std::string_view xml_prefix_declaration = "xmlns:";

// Cuts *rest after the next name that stands directly before a colon, and the colon: a prefix, or
// what looks like one. False: there is none.
bool xml_prefix_next(std::string_view *rest, std::string_view *name);
