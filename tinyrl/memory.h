/* Heap memory that frees itself.
 *
 * Null means "none" and, from a function, "no memory". */
#ifndef TINYRL_MEMORY_H
#define TINYRL_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bounded.h"

struct tinyrl_free {
    void operator()(void *memory) const
    {
        free(memory);
    }
};

using heap_text = std::unique_ptr<char, tinyrl_free>;

/* The first length bytes of text as a heap string. */
inline heap_text copy_text(const char *text, size_t length)
{
    if (length == SIZE_MAX) {
        return nullptr;
    }
    heap_text copy(static_cast<char *>(malloc(length + 1)));
    if (copy) {
        memcpy_s(copy.get(), length, text, length);
        copy.get()[length] = '\0';
    }
    return copy;
}

#endif
