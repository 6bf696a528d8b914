// A digest of bytes: SHA-256.
#include "device/schemac/digest.h"

#include <algorithm>
#include <bit>
#include <string.h>

namespace
{

constexpr size_t block_size = 64;
constexpr size_t length_size = 8; // of the length that ends the last block

constexpr uint32_t round_constants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

uint32_t read_word(const unsigned char *bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

// The sixteen words of the block, and 48 that are made from them.
void expand(const unsigned char *block, uint32_t *words)
{
    for (size_t i = 0; i < 16; i++)
        words[i] = read_word(block + 4 * i);
    for (size_t i = 16; i < 64; i++) {
        const uint32_t early = words[i - 15];
        const uint32_t late = words[i - 2];
        words[i] = words[i - 16] + words[i - 7] +
                   (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) +
                   (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
    }
}

void mix(uint32_t *s, uint32_t word, uint32_t constant)
{
    const uint32_t choice = (s[4] & s[5]) ^ (~s[4] & s[6]);
    const uint32_t majority = (s[0] & s[1]) ^ (s[0] & s[2]) ^ (s[1] & s[2]);
    const uint32_t one = s[7] + (std::rotr(s[4], 6) ^ std::rotr(s[4], 11) ^ std::rotr(s[4], 25)) +
                         choice + constant + word;
    const uint32_t two =
        (std::rotr(s[0], 2) ^ std::rotr(s[0], 13) ^ std::rotr(s[0], 22)) + majority;
    memmove(s + 1, s, 7 * sizeof *s);
    s[4] += one;
    s[0] = one + two;
}

void take_block(digest_state *state)
{
    uint32_t words[64];
    uint32_t mixed[8];
    expand(state->block, words);
    memcpy(mixed, state->words, sizeof mixed);
    for (size_t i = 0; i < 64; i++)
        mix(mixed, words[i], round_constants[i]);
    for (size_t i = 0; i < 8; i++)
        state->words[i] += mixed[i];
}

} // namespace

digest_state digest_start()
{
    return {{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab,
             0x5be0cd19},
            {},
            0};
}

void digest_add(digest_state *state, std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto filled = static_cast<size_t>(state->size % block_size);
        const size_t count = std::min(bytes.size(), block_size - filled);
        memcpy(state->block + filled, bytes.data(), count);
        state->size += count;
        bytes.remove_prefix(count);
        if (filled + count == block_size)
            take_block(state);
    }
}

std::string digest_end(digest_state *state)
{
    const uint64_t bits = state->size * 8;
    digest_add(state, "\x80");
    while (state->size % block_size != block_size - length_size)
        digest_add(state, std::string_view("\0", 1));
    std::string length;
    for (int shift = 56; shift >= 0; shift -= 8)
        length.push_back(static_cast<char>(bits >> shift));
    digest_add(state, length);
    std::string text;
    for (const uint32_t word : state->words) {
        for (int shift = 28; shift >= 0; shift -= 4)
            text.push_back("0123456789abcdef"[word >> shift & 0xf]);
    }
    return text;
}
