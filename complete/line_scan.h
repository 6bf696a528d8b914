// Where the words of the line that is being edited stand.
//
// Positions are byte indexes into the line. A blank is any byte of the C
// library's space class.
#pragma once

#include <stddef.h>
#include <string_view>

#include "base/text.h"

struct tinyrl;

// The line as it was when it was read; to be read again after every change.
struct line_scan {
    heap_text text;       // a copy of the line
    size_t command_start; // the first word: its first byte and
    size_t command_end;   // the blank after it, at most the cursor
    size_t word_start;    // the word before the cursor, which may be empty
    size_t point;         // the cursor
};

// Whether a blank (byte 32) between quotes parts words.
enum quoted_blanks {
    quoted_blanks_part,
    quoted_blanks_join, // they stand masked in the copy (schema/masking.h)
};

// Reads the editor's line; 0, or -1 when memory runs out.
int line_scan_read(const tinyrl *editor, quoted_blanks quoted, line_scan *scan);

// Whether the word before the cursor is the line's first, also in a line of
// blanks. A cursor in the blanks before the first word is in no word.
bool in_command_word(const line_scan *scan);

// The first word; empty when the cursor stands before it.
std::string_view command_word(const line_scan *scan);

// The words between the first one and the word before the cursor.
std::string_view words_before(const line_scan *scan);

// How many these are, the first and the last of them; views into the scan.
struct words_typed {
    size_t count;
    std::string_view first;
    std::string_view last;
};

words_typed count_words_before(const line_scan *scan);

// Takes the first word off rest into *word; false when there is none.
bool next_word(std::string_view *rest, std::string_view *word);

// What the editor's line holds from start to the cursor; valid until the line
// changes.
std::string_view typed_text(const tinyrl *editor, size_t start);

// Puts length bytes of text in place of what the editor's line holds from start
// to the cursor and of the byte at the cursor, if there is one. Nothing is
// drawn. False, after the bell, when the text does not fit: the line is as it
// was.
bool replace_typed(tinyrl *editor, size_t start, const char *text, size_t length);
