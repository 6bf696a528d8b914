// Eight bytes of a text looked at together.
#pragma once

#include <bit>
#include <stdint.h>
#include <string.h>

constexpr size_t word_size = sizeof(uint64_t);
constexpr uint64_t every_byte = UINT64_MAX / UINT8_MAX; // 1 in each byte of a word
constexpr uint64_t every_top_bit = every_byte << 7;

// The bytes of the text in their order, the first one lowest.
inline uint64_t word_at(const char *text)
{
    uint64_t word = 0;
    memcpy(&word, text, sizeof word);
    return std::endian::native == std::endian::big ? __builtin_bswap64(word) : word;
}

// Sets the top bit of each byte that is `byte`. Only of the lowest top bit that is set it
// is certain; other bits may be anything.
constexpr uint64_t word_find(uint64_t word, char byte)
{
    const uint64_t other = word ^ every_byte * static_cast<unsigned char>(byte);
    return (other - every_byte) & ~other;
}

// Where the first byte is whose top bit is set, one at least.
inline size_t word_first(uint64_t top_bits)
{
    return static_cast<size_t>(__builtin_ctzll(top_bits)) / 8;
}
