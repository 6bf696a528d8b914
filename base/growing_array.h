// Arrays that grow at their end and are ended by an empty entry.
#pragma once

#include <stddef.h>

// Makes room after count entries for one more and the empty one. Returns the
// array, which may have moved, with *capacity entries of entry_size bytes; null
// when memory runs out, and then the array is what it was. A null array has a
// capacity of 0.
void *array_make_room(void *array, size_t count, size_t *capacity, size_t entry_size);
