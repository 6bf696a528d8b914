// The output chunk pool: serialised XML in up to 16 chunks of growing size.
//
// Chunk i is made with 4096 << i bytes, so a body of any size is appended
// without copying what is there already. A piece that is larger than the chunk
// made for it gets a chunk of its own size.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string_view>

#include "base/session.h"
#include "base/text.h"

struct output_chunk {
    uint32_t capacity;  // bytes in data
    uint32_t remaining; // bytes free, the terminating zero counted
    char *data;         // owned, zero-terminated text
};

// Appends a piece to the session's pool; 0, or -1 when no chunk can take it.
int pool_append(std::string_view piece);

// The text of a chunk; slots are in use from 0 up to the first empty one.
// Empty for an unused slot.
std::string_view pool_chunk_text(unsigned slot);

// Hands the texts of the chunks in use to visit(text), in their order, until it returns
// other than 0; that is returned.
template <class Visit>
int pool_for_each(Visit visit)
{
    int result = 0;
    for (unsigned slot = 0;
         slot < output_chunk_slots && session.output.slot[slot] != nullptr && result == 0; slot++)
        result = visit(pool_chunk_text(slot));
    return result;
}

// Frees every chunk; harmless for an empty pool. The texts are wiped.
void pool_release();

// The sum of the texts' lengths.
size_t pool_text_length();

// Appends the texts to `out`, with room for `more` bytes after them. Each chunk is
// freed as soon as its text has been copied; the pool is empty in the end. 0, or
// -1 when memory runs out.
int pool_move_to(text_buffer *out, size_t more);
