// Characters of UTF-8 text and the columns they take.
//
// A character is a lead byte with as many following bytes as it announces; any
// other byte stands for itself, one column wide.
#ifndef VANDEL_TINYRL_UTF8_H
#define VANDEL_TINYRL_UTF8_H

#include <stddef.h>

// Whether byte can only continue a character.
bool utf8_is_continuation(char byte);

// The number of bytes that follow the lead byte in its character; 0 for every
// other byte.
size_t utf8_continuations(char lead);

// The length in bytes of the character at the start of text, which has length
// bytes, at least 1.
size_t utf8_next_length(const char *text, size_t length);

// The length in bytes of the character before text + position; position > 0.
size_t utf8_previous_length(const char *text, size_t position);

// The columns that the length bytes of text take.
size_t utf8_columns(const char *text, size_t length);

#endif
