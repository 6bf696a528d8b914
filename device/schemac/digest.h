// A digest of bytes: SHA-256.
#ifndef VANDEL_SCHEMAC_DIGEST_H
#define VANDEL_SCHEMAC_DIGEST_H

#include <stddef.h>
#include <stdint.h>
#include <string>
#include <string_view>

struct digest_state {
    uint32_t words[8];
    unsigned char block[64]; // what does not fill a block yet
    uint64_t size;           // of all that has been added
};

digest_state digest_start();

void digest_add(digest_state *state, std::string_view bytes);

// The digest of all that has been added, as 64 hexadecimal digits.
std::string digest_end(digest_state *state);

#endif
