// Candidates for the word before the cursor, in the order in which they were
// offered.
#ifndef VANDEL_COMPLETE_MATCH_LIST_H
#define VANDEL_COMPLETE_MATCH_LIST_H

#include <stddef.h>

#include "base/text.h"

struct tinyrl;

// Owns its texts; entry is ended by null, and null itself while the list is
// empty.
struct match_list {
    char **entry = nullptr;
    size_t count = 0;
    size_t capacity = 0; // slots of entry

    match_list() = default;
    ~match_list();
    match_list(const match_list &) = delete;
    match_list &operator=(const match_list &) = delete;
};

// Appends a copy of the candidate if it begins with what stands in the line
// from word_start to the cursor. 0, or -1 when memory runs out.
int match_add(const tinyrl *editor, size_t word_start, match_list *list, const char *candidate);

// Appends a text; 0, or -1 when memory runs out, which a null text stands for.
int match_list_append(match_list *list, heap_text text);

// Empties the list.
void match_list_free(match_list *list);

// The length of the longest candidate.
size_t match_list_width(const match_list *list);

#endif
