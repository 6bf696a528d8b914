// The characters that an XML text stands for, piece by piece.
//
// References are resolved, CDATA sections opened, comments and processing
// instructions left out. Nothing is copied but what a reference stands for. A
// reference that stands for nothing known gives itself, as written.
#ifndef VANDEL_GATEWAY_TEXT_PIECES_H
#define VANDEL_GATEWAY_TEXT_PIECES_H

#include <string_view>

// Set rest to a text without tags, the remaining fields to zero.
struct text_pieces {
    std::string_view rest;
    char character[4]; // what the last reference stands for, in UTF-8
};

// Cuts the next piece off, which is never empty. It holds until the next call.
// False: there is none left.
bool text_pieces_next(text_pieces *pieces, std::string_view *piece);

#endif
