// The longest text that all candidates begin with, and its place in the line.
#ifndef VANDEL_COMPLETE_COMMON_PREFIX_H
#define VANDEL_COMPLETE_COMMON_PREFIX_H

#include <stddef.h>

#include "complete/match_list.h"

struct tinyrl;

struct common_prefix {
    const char *first = nullptr; // the first candidate; the caller's
    size_t length = 0;
};

// Shortens the prefix to what the candidate begins with, too.
void common_prefix_add(common_prefix *prefix, const char *candidate);

// Puts the prefix in place of what stands in the line from start to the cursor,
// unless that begins with the prefix already. Nothing is drawn. A failure is
// logged.
void common_prefix_insert(tinyrl *editor, size_t start, const common_prefix *prefix);

// The same for the candidates of a list.
void common_prefix_insert_of(tinyrl *editor, size_t start, const match_list *list);

#endif
