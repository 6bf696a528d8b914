// Heap memory that frees itself: one kind for blocks, one for texts.
//
// Null means "none" and, from a function that makes something, "no memory".
// `.release()` is the only way to hand a block over.
#pragma once

#include <memory>
#include <stddef.h>
#include <stdlib.h>

// What a function releases.
template <auto release>
struct release_deleter {
    template <class T>
    void operator()(T *object) const noexcept
    {
        release(object);
    }
};
template <class T, auto release>
using released_ptr = std::unique_ptr<T, release_deleter<release>>;

// A block from malloc that its holder owns.
template <class T>
using malloc_ptr = released_ptr<T, free>;

// Overwrites `size` bytes of a block, and what registers hold of them (scrub.h); the
// compiler does not remove it. Null is accepted.
void block_wipe(void *block, size_t size);

// The same with a zero-terminated text, up to its end.
void text_wipe(char *text);

// Both wipe and free.
void block_free(void *block, size_t size);
void text_free(char *text);

// A zero-terminated text that its holder owns. Any text may hold what the
// operator typed, a password among it, so all are wiped before they are freed.
using heap_text = released_ptr<char, text_free>;
