// The history's record, shared by the files that implement it.
#ifndef VANDEL_TINYRL_HISTORY_RECORD_H
#define VANDEL_TINYRL_HISTORY_RECORD_H

#include <stddef.h>

struct history_entry {
    char *line;
    unsigned index;
};

struct history {
    history_entry **entries; // oldest first
    size_t length;
    size_t size;            // slots in entries
    unsigned current_index; // the number the next entry gets
    size_t stifle;          // the greatest length; 0: none
};

#endif
