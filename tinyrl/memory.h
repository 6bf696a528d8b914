/* Heap memory that frees itself.
 *
 * Null means "none" and, from a function, "no memory". What a user types may be
 * a password, so no text stays behind in memory that is given up. */
#ifndef TINYRL_MEMORY_H
#define TINYRL_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bounded.h"

/* Overwrites size bytes of text and frees it; null is accepted. */
inline void wipe_and_free(char *text, size_t size)
{
    if (text != nullptr) {
        memset_s(text, size, 0, size);
    }
    free(text);
}

/* The same for a zero-terminated text. */
inline void wipe_and_free(char *text)
{
    wipe_and_free(text, text != nullptr ? strlen(text) : 0);
}

struct tinyrl_free {
    void operator()(char *text) const
    {
        wipe_and_free(text);
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
