// Characters of UTF-8, read strictly: no longer than they need be, no surrogates,
// none above U+10FFFF.
#ifndef VANDEL_PLATFORM_CODE_POINT_H
#define VANDEL_PLATFORM_CODE_POINT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// How many bytes a character with this first byte has; 0: it begins none.
size_t code_point_length(char lead);

// Reads the character that the size bytes (at least 1) at text begin with.
// Returns its length, or 0 where they begin with none.
size_t code_point_read(const char *text, size_t size, uint32_t *code);

#ifdef __cplusplus
}
#endif

#endif
