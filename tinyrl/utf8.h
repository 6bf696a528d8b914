// Characters of UTF-8 text and the columns they take.
//
// A character is what code_point_scan takes for one, and any other byte stands for
// itself, one column wide: whoever edits broken text has to reach each of its bytes.
#pragma once

#include <stddef.h>

// The length in bytes of the character at the start of text, which has length
// bytes, at least 1.
size_t utf8_next_length(const char *text, size_t length);

// The length in bytes of the character before text + position; position > 0.
size_t utf8_previous_length(const char *text, size_t position);

// The columns that the length bytes of text take.
size_t utf8_columns(const char *text, size_t length);
