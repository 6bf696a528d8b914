// What of a text may go to a terminal as it is.
//
// Names and help texts come from servers, databases and models. A terminal obeys
// control characters, U+0080 to U+009F among them, which in 8-bit mode are bytes
// of their own; characters that turn the direction of a line, and those that
// nobody sees, let one name pass for another. Each of them, and each byte that is
// not UTF-8, is unsafe; a line that lists such text shows a '?' in its place.
#pragma once

#include <stddef.h>

// Returns how many of the size bytes (at least 1) at text are its first
// character: 1 where they begin with none. Sets *safe to whether it is safe.
size_t terminal_text_next(const char *text, size_t size, bool *safe);

// Puts a '?' in place of each unsafe character of size bytes of text. Returns
// how many bytes are left; they are not terminated.
size_t terminal_text_clean(char *text, size_t size);
