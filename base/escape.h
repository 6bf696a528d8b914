// XML entities of values:
//
//     & "&amp;"   < "&lt;"   > "&gt;"   double quote "&quot;"
//     tab "&#9;"  carriage return "&#13;"  line feed "&#10;"
#pragma once

#include <stddef.h>

#include "base/text.h"

constexpr int escape_mode_unescape = 0;
constexpr int escape_mode_escape = 1;

// Writes length bytes of source to destination, escaped or unescaped, with a
// terminating zero. The destination holds the result: 6 bytes for each byte
// when escaping, length when unescaping, and the zero. Null arguments or a
// negative length are logged and do nothing.
void escape_text(char *destination, const char *source, long length, int mode);

// Appends the text escaped; 0, or -1 when memory runs out (the buffer is empty then).
int text_append_escaped(text_buffer *out, std::string_view text);

// Decodes what stands at `at` (at least 1 of `left` bytes): an entity or a
// single byte. Returns how many bytes were read; *character is the result.
size_t unescape_one(const char *at, size_t left, char *character);
