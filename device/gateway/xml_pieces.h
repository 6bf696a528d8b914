// A text cut at its markup, without a parser: for requests of any size of which little is to be
// known. Names and namespaces are not looked at, and nothing is checked.
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
