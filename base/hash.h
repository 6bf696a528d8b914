// A hash of texts, which can be continued from a prefix to a longer text. It holds in one
// process only: whoever writes keys and values must not be able to choose such as meet in a
// table, where each would be found by all others.
#pragma once

#include <bit>
#include <stddef.h>
#include <stdint.h>
#include <string_view>
#include <sys/random.h>

constexpr uint32_t hash_start = 2166136261U;
constexpr uint32_t hash_known_factor = 16777619U;

// Odd. Where the system has no random bytes yet, it is the same in each process.
inline uint32_t hash_draw_factor()
{
    uint32_t factor = 0;
    if (getrandom(&factor, sizeof factor, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof factor))
        return hash_known_factor;
    return factor | 1;
}

inline const uint32_t hash_factor = hash_draw_factor();

// The upper half of a product becomes the lower one. Else no bit would depend on one above
// it, and there would be texts that meet with any factor.
inline uint32_t hash_byte(uint32_t hash, unsigned char byte, uint32_t factor = hash_factor)
{
    return std::rotl((hash ^ byte) * factor, 16);
}

inline uint32_t hash_text(uint32_t hash, std::string_view text, uint32_t factor = hash_factor)
{
    for (const char character : text)
        hash = hash_byte(hash, static_cast<unsigned char>(character), factor);
    return hash;
}

// The place in a table whose size is a power of two, by all bits of the hash.
inline size_t hash_bucket(uint32_t hash, size_t bucket_count)
{
    return (hash ^ hash >> 16) & (bucket_count - 1);
}
