// A digest of bytes, which tells whether something has changed: FNV-1a. It is no
// protection against somebody who wants two texts to look the same.
#pragma once

#include <stdint.h>
#include <string_view>

constexpr uint64_t digest_of_nothing = 0xcbf29ce484222325;

// The digest of bytes after those that have this digest.
constexpr uint64_t digest_add(uint64_t digest, std::string_view bytes)
{
    for (const char byte : bytes)
        digest = (digest ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    return digest;
}
