// Texts of the editor: copies, and blocks that are wiped by their size.
#ifndef VANDEL_TINYRL_MEMORY_H
#define VANDEL_TINYRL_MEMORY_H

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "bounded.h"
#include "heap.h"

// Overwrites `size` bytes of text and frees it; null is accepted.
inline void wipe_and_free(char *text, size_t size)
{
    block_wipe(text, size);
    free(text);
}

// The same for a zero-terminated text.
inline void wipe_and_free(char *text)
{
    text_wipe(text);
    free(text);
}

// The first `length` bytes of text; null when memory runs out.
inline heap_text copy_text(const char *text, size_t length)
{
    if (length == SIZE_MAX)
        return nullptr;
    heap_text copy(static_cast<char *>(malloc(length + 1)));
    if (copy) {
        memcpy_s(copy.get(), length, text, length);
        copy.get()[length] = '\0';
    }
    return copy;
}

#endif
