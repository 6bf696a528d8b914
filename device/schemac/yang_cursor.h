// Reads the statements of a YANG text one by one, without judging them.
//
// The compiler proper is libyang, which keeps no line numbers; this reader
// finds out where in a text something stands, and what a text imports before
// it is compiled. It needs no memory that grows with the text.
#pragma once

#include <string>
#include <string_view>

struct yang_cursor {
    std::string_view rest; // of the text
    const char *counted;   // up to here lines have been counted
    unsigned line;         // of that
    unsigned depth;        // of the next statement; that of module is 0
};

struct yang_statement {
    std::string_view keyword;
    std::string argument; // without quotes, joined at "+"
    unsigned line;
    unsigned depth;
};

// Starts reading text, which the caller keeps.
yang_cursor yang_open(std::string_view text);

// Reads the next statement; false at the end of the text and at the first
// thing that cannot belong to any YANG text.
bool yang_next(yang_cursor *cursor, yang_statement *statement);

// Reads the next statement in the block of one of that depth, which has just
// been read; false when there is none left. The cursor then stands after the
// block, unless it has come to what ends a text.
bool yang_next_within(yang_cursor *cursor, unsigned depth, yang_statement *statement);
