#include "link/frame.h"

#include "bounded.h"

void frame_write_header(uint8_t *out, uint32_t body_length, uint16_t sequence)
{
    const uint16_t reserved = 0;
    memcpy_s(out, 4, &frame_magic, sizeof frame_magic);
    memcpy_s(out + 4, 4, &body_length, sizeof body_length);
    memcpy_s(out + 8, 2, &sequence, sizeof sequence);
    memcpy_s(out + 10, 2, &reserved, sizeof reserved);
}

uint32_t frame_body_length(const uint8_t *header)
{
    uint32_t length = 0;
    memcpy_s(&length, sizeof length, header + 4, sizeof length);
    return length;
}
