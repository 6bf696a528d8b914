// Owned texts and the few allocations that grow.
//
// Every function that allocates returns null (or -1) when memory runs out and
// changes nothing. Sizes are added with an overflow test, so that a sum which
// wraps on a 32-bit device is refused like memory that is not there. What wipes a
// text leaves nothing in registers either (scrub.h).
#pragma once

#include <ctype.h>
#include <initializer_list>
#include <stddef.h>
#include <string_view>

#include "heap.h"

// A block of which every byte is wiped before it is freed.
struct secret_block {
    char *data;
    size_t size;

    secret_block(char *block, size_t block_size) : data(block), size(block_size) {}
    ~secret_block();
    secret_block(const secret_block &) = delete;
    secret_block &operator=(const secret_block &) = delete;
};

// A copy of the text.
heap_text text_copy(std::string_view text);

// The pieces one after the other in a buffer of their exact size.
heap_text text_concat(std::initializer_list<std::string_view> pieces);

// Replaces *slot by text and frees what it held, wiped.
void text_replace(char **slot, heap_text text);

// a + b into *sum; false when it would wrap.
inline bool size_add(size_t a, size_t b, size_t *sum)
{
    return !__builtin_add_overflow(a, b, sum);
}

// What text has of the `length` bytes from `start` on, nothing where it is shorter.
// (substr() would throw there, and drag in the C++ run-time library.)
inline std::string_view text_slice(std::string_view text, size_t start,
                                   size_t length = std::string_view::npos)
{
    const size_t from = start < text.size() ? start : text.size();
    const size_t rest = text.size() - from;
    return {text.data() + from, length < rest ? length : rest};
}

// Whether text begins with prefix.
inline bool text_starts_with(std::string_view text, std::string_view prefix)
{
    return text_slice(text, 0, prefix.size()) == prefix;
}

// Takes the piece before the first separator off a text, and the separator; all of it
// when there is none.
inline std::string_view text_take(std::string_view *text, char separator)
{
    const std::string_view piece = text_slice(*text, 0, text->find(separator));
    text->remove_prefix(piece.size() < text->size() ? piece.size() + 1 : piece.size());
    return piece;
}

// Whether a byte is of the C library's space class.
inline bool is_space(char byte)
{
    return isspace(static_cast<unsigned char>(byte)) != 0;
}

// Enlarges a block of which `used` bytes are in use to `size` bytes, the new
// ones zero. Returns the block itself when it is null or in use up to its
// size; null when memory runs out. An old block that is not returned has been
// wiped and freed.
void *mem_grow(void *block, size_t used, size_t size);

// A text that grows at its end; data is null or zero-terminated at length. All of
// its length is wiped in the end: what was read from a file may hold zero bytes.
struct text_buffer {
    heap_text data;
    size_t length = 0;
    size_t capacity = 0;

    text_buffer() = default;
    text_buffer(text_buffer &&other) noexcept;
    text_buffer &operator=(text_buffer &&other) noexcept;
    ~text_buffer();
};

// Makes room for pieces of these lengths, and no more; 0, or -1 when memory runs
// out (the buffer is empty then).
int text_reserve(text_buffer *buffer, std::initializer_list<size_t> lengths);

// Empties the buffer, wiped, for the next text: a shorter one would end before
// what is left of a longer one.
void text_clear(text_buffer *buffer);

// Appends piece; 0, or -1 when memory runs out (the buffer is empty then).
int text_append(text_buffer *buffer, std::string_view piece);

// Appends the pieces one after the other; as text_append.
int text_append_all(text_buffer *buffer, std::initializer_list<std::string_view> pieces);

// Puts piece, which is no part of the buffer, in front of what is there; as
// text_append.
int text_prepend(text_buffer *buffer, std::string_view piece);

// Keeps `length` bytes of the text from `start` on and wipes the rest.
void text_keep(text_buffer *buffer, size_t start, size_t length);
