// A hash of texts (FNV-1a), which can be continued from a prefix to a longer text.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string_view>

constexpr uint32_t hash_start = 2166136261U;

inline uint32_t hash_byte(uint32_t hash, unsigned char byte)
{
    return (hash ^ byte) * 16777619U;
}

inline uint32_t hash_text(uint32_t hash, std::string_view text)
{
    for (const char character : text)
        hash = hash_byte(hash, static_cast<unsigned char>(character));
    return hash;
}

// The place in a table whose size is a power of two. The multiplication leaves the
// hash's best bits on top.
inline size_t hash_bucket(uint32_t hash, size_t bucket_count)
{
    return (hash ^ hash >> 16) & (bucket_count - 1);
}
