#include "arena.h"

#include <stdlib.h>

#include "bounded.h"
#include "heap.h"

// The blocks stand after it.
struct alignas(arena_alignment) arena_piece {
    arena_piece *older;
    size_t size;
    size_t used;
};

namespace
{

constexpr size_t first_size = 512;
constexpr size_t most_size = 65536;

char *bytes_of(arena_piece *piece)
{
    return reinterpret_cast<char *>(piece + 1);
}

// A piece with room for a block of `needed` bytes, each twice as large as the one before.
arena_piece *add_piece(arena *arena, size_t needed)
{
    arena_piece *older = arena->newest;
    size_t size = older == nullptr ? first_size : older->size;
    if (older != nullptr)
        size = size < most_size / 2 ? 2 * size : most_size;
    if (size < needed)
        size = needed;
    size_t total = 0;
    auto *piece = !__builtin_add_overflow(size, sizeof(arena_piece), &total)
                      ? static_cast<arena_piece *>(malloc(total))
                      : nullptr;
    if (piece == nullptr)
        return nullptr;
    *piece = {older, size, 0};
    arena->newest = piece;
    return piece;
}

} // namespace

arena::~arena()
{
    arena_clear(this);
}

void *arena_room(arena *arena, size_t size)
{
    if (__builtin_add_overflow(size, arena_alignment - 1, &size))
        return nullptr;
    size -= size % arena_alignment;
    arena_piece *piece = arena->newest;
    if (piece == nullptr || piece->size - piece->used < size)
        piece = add_piece(arena, size);
    if (piece == nullptr)
        return nullptr;
    char *block = bytes_of(piece) + piece->used;
    piece->used += size;
    return block;
}

char *arena_concat(arena *arena, std::initializer_list<std::string_view> pieces)
{
    size_t size = 1;
    for (const std::string_view text : pieces) {
        if (__builtin_add_overflow(size, text.size(), &size))
            return nullptr;
    }
    char *block = static_cast<char *>(arena_room(arena, size));
    if (block == nullptr)
        return nullptr;
    size_t used = 0;
    for (const std::string_view text : pieces) {
        if (!text.empty())
            memcpy_s(block + used, size - used, text.data(), text.size());
        used += text.size();
    }
    block[used] = '\0';
    return block;
}

void arena_clear(arena *arena)
{
    while (arena->newest != nullptr) {
        arena_piece *older = arena->newest->older;
        block_free(arena->newest, sizeof(arena_piece) + arena->newest->used);
        arena->newest = older;
    }
}
