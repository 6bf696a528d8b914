// Many small blocks that go together: they cost one allocation for some hundreds of
// them, and none to free. They are wiped in the end, because a name may hold a key.
#pragma once

#include <initializer_list>
#include <stddef.h>
#include <string_view>

struct arena_piece;

constexpr size_t arena_alignment = 8; // of a block: enough for any record

// Owns its blocks, which live as long as it does, or until arena_clear.
struct arena {
    arena_piece *newest = nullptr;

    arena() = default;
    ~arena();
    arena(const arena &) = delete;
    arena &operator=(const arena &) = delete;
};

// Room for so many bytes, which are not cleared; null when memory runs out.
void *arena_room(arena *arena, size_t size);

// The pieces one after the other and a zero byte; as arena_room.
char *arena_concat(arena *arena, std::initializer_list<std::string_view> pieces);

// Gives all blocks back.
void arena_clear(arena *arena);
