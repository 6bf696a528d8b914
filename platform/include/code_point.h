// Characters of UTF-8: a lead byte and as many following bytes as it announces.
#pragma once

#include <stddef.h>
#include <stdint.h>

struct code_range {
    uint32_t first;
    uint32_t last;
};

// Whether one of `count` ranges, the lower ones first, holds a code.
bool code_point_is_among(uint32_t code, const code_range *ranges, size_t count);

// Whether a byte follows in a character and begins none.
bool code_point_continues(char byte);

// How many bytes a character with this first byte has; 0: it begins none.
size_t code_point_length(char lead);

// Takes the character that the size bytes (at least 1) at text begin with, whatever
// its code is. Returns its length, or 0 where they begin with none; *code is then
// undefined.
size_t code_point_scan(const char *text, size_t size, uint32_t *code);

// The same, read strictly: no longer than it need be, no surrogate, and not above
// U+10FFFF.
size_t code_point_read(const char *text, size_t size, uint32_t *code);
