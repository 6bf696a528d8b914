#include "cmdtree/chunk_pool.h"

#include <stdlib.h>

#include "bounded.h"

namespace
{

constexpr uint32_t first_chunk_capacity = 4096;

size_t text_length(const output_chunk *chunk)
{
    return chunk->capacity - chunk->remaining;
}

void free_chunk(output_chunk *&chunk)
{
    if (chunk == nullptr)
        return;
    memset_s(chunk->data, chunk->capacity, 0, text_length(chunk));
    free(chunk->data);
    free(chunk);
    chunk = nullptr;
}

output_chunk *create_chunk(uint32_t capacity)
{
    malloc_ptr<output_chunk> chunk(static_cast<output_chunk *>(calloc(1, sizeof(output_chunk))));
    heap_text data(static_cast<char *>(calloc(1, capacity)));
    if (!chunk || !data)
        return nullptr;
    *chunk = {capacity, capacity, data.release()};
    return chunk.release();
}

// The chunk that has room for a piece of this length: the current one, or a
// new one in the next slot.
output_chunk *chunk_for(uint32_t length)
{
    chunk_pool *pool = &session.output;
    output_chunk *current = pool->slot[pool->current];
    if (current != nullptr && current->remaining > length)
        return current;
    const unsigned slot = current != nullptr ? pool->current + 1 : pool->current;
    if (slot >= output_chunk_slots)
        return nullptr;
    const uint32_t standard = first_chunk_capacity << slot;
    output_chunk *chunk = create_chunk(standard > length ? standard : length + 1);
    if (chunk == nullptr)
        return nullptr;
    pool->slot[slot] = chunk;
    pool->current = slot;
    return chunk;
}

} // namespace

int pool_append(std::string_view piece)
{
    if (piece.size() >= UINT32_MAX)
        return -1;
    const uint32_t length = static_cast<uint32_t>(piece.size());
    output_chunk *chunk = chunk_for(length);
    if (chunk == nullptr)
        return -1;
    if (length > 0)
        memcpy_s(chunk->data + text_length(chunk), chunk->remaining, piece.data(), length);
    chunk->remaining -= length;
    return 0;
}

std::string_view pool_chunk_text(unsigned slot)
{
    const output_chunk *chunk = slot < output_chunk_slots ? session.output.slot[slot] : nullptr;
    return chunk != nullptr ? std::string_view(chunk->data, text_length(chunk))
                            : std::string_view();
}

size_t pool_text_length()
{
    size_t length = 0;
    pool_for_each([&](std::string_view text) {
        length += text.size();
        return 0;
    });
    return length;
}

void pool_release()
{
    for (output_chunk *&chunk : session.output.slot)
        free_chunk(chunk);
    session.output.current = 0;
}

int pool_move_to(text_buffer *out, size_t more)
{
    unsigned slot = 0;
    int failed = text_reserve(out, {pool_text_length(), more});
    if (failed == 0)
        failed = pool_for_each([&](std::string_view text) {
            const int refused = text_append(out, text);
            free_chunk(session.output.slot[slot++]);
            return refused;
        });
    pool_release();
    return failed;
}
