// The multi-column, coloured listing that ls prints.
//
// The listing is kept in the session: start it, add entries, print it, free
// it. Entries are sorted by name and laid out column by column in the width
// that the environment variable COLUMNS gives (80 without it), each in the
// colour of its class (0 to 10). Names are masked (schema/masking.h) and shown
// unmasked, with a '?' for what a terminal would obey (terminal_text.h). The
// layout goes by the bytes of the names as they were given. int results are 0,
// or -1 when memory runs out or an entry is refused, and then the listing is as
// it was.
#pragma once

#include <stddef.h>

struct listing_entry {
    char *name; // owned, zero-terminated at length
    size_t length;
    size_t capacity;
    unsigned color_class; // 11: the name carries its own colour codes
};

// Empties the listing; reads COLUMNS at the first call of the process.
int listing_start();

// Adds an entry of a class below 11.
int listing_add(const char *name, unsigned color_class);

// Adds an entry, or, given one, appends the name in its colour to that one's
// name. Returns the entry, which stays valid until another one is added, or
// null.
listing_entry *listing_merge(listing_entry *previous, const char *name, unsigned color_class);

// Sorts and prints the entries on standard output; nothing for none.
void listing_print();

// Frees all entries.
void listing_free();

// The line width for a value of COLUMNS (null when it is unset), 1 to 10000.
unsigned listing_width(const char *columns);
