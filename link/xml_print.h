// Replies and notifications as indented text, one tag per line.
#pragma once

// Prints the message on standard output as one piece that no other thread's
// output divides, and flushes it. Null or empty text prints nothing. The
// entities of base/escape.h appear as their characters.
void xml_print(const char *message);

// The indentation of the tag that starts at next, given the start of the tag
// before it and that tag's indentation. A tag is closing when its second
// character is "/"; everything else deepens what follows.
long indent_next(const char *previous, const char *next, long indentation);
