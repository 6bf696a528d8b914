// A growing block of bytes whose every growth is checked.
//
// Conventions: an all-zero (value-initialised) buffer is empty and valid. The
// buffer owns its block and frees it when it goes out of scope. The bytes are
// not zero-terminated.
#pragma once

#include <initializer_list>
#include <stddef.h>
#include <string_view>

#include "heap.h"

struct byte_buffer {
    malloc_ptr<char> data; // null while nothing was stored
    size_t size;           // bytes in use
    size_t capacity;       // bytes allocated
};

enum buffer_result {
    buffer_ok,
    buffer_full,      // the limit would be passed
    buffer_no_memory, // the allocation failed
};

// Appends size bytes (data may be null when size is 0) unless the buffer would
// then hold more than limit bytes. Growth is geometric but never passes limit.
// After a failure the buffer is as it was.
buffer_result byte_buffer_append(byte_buffer *buffer, const char *data, size_t size, size_t limit);

// Takes room for a content of that size, if there is memory, in large pages where the kernel has
// them. They come as they are written to.
void byte_buffer_reserve(byte_buffer *buffer, size_t size);

// Appends one after the other. After a failure some may have been appended.
buffer_result byte_buffer_append_all(byte_buffer *buffer,
                                     std::initializer_list<std::string_view> pieces, size_t limit);

// The same, and nothing but the memory is a limit: 0, or -1.
int byte_buffer_add(byte_buffer *buffer, std::initializer_list<std::string_view> pieces);

// Puts text in the place of the bytes from..end. 0, or -1: out of memory, and nothing is changed.
int byte_buffer_replace(byte_buffer *buffer, size_t from, size_t end, std::string_view text);

// Cuts the content to limit bytes, more than 0, and gives back the memory of
// the rest, if the allocator can.
void byte_buffer_cut(byte_buffer *buffer, size_t limit);

// The bytes in use, until the buffer is changed.
std::string_view byte_buffer_view(const byte_buffer *buffer);

// Hands the content over; the buffer is empty afterwards.
byte_buffer byte_buffer_take(byte_buffer *buffer);

// Empties the buffer and releases its block when that is a large one, so that
// an idle session does not keep the memory of its longest message.
void byte_buffer_clear(byte_buffer *buffer);
