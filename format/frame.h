// The frame in which every message between a shell and the daemon travels.
//
//     offset  size  field
//          0     4  magic FEDCBAFF hexadecimal
//          4     4  body length in bytes
//          8     2  sequence, the sender's frame counter
//         10     2  reserved, 0
//         12        body: the XML text of a message
//
// Integers are in the host's byte order; both sides run on one machine. A shell's
// body ends in the zero byte of its text, most often; one to a shell does not.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

constexpr uint32_t frame_magic = 0xFEDCBAFF;
constexpr size_t frame_header_size = 12;
constexpr uint32_t frame_body_limit = 1U << 28;

struct frame_header {
    uint32_t magic;
    uint32_t length;
    uint16_t sequence;
    uint16_t reserved;
};
static_assert(sizeof(frame_header) == frame_header_size);

// Writes the header of a frame to the first frame_header_size bytes of out.
inline void frame_header_write(void *out, uint32_t body_length, uint16_t sequence)
{
    const frame_header header = {frame_magic, body_length, sequence, 0};
    memcpy(out, &header, sizeof header);
}

// The header in the first frame_header_size bytes of a frame; nothing is judged.
inline frame_header frame_header_read(const void *bytes)
{
    frame_header header;
    memcpy(&header, bytes, sizeof header);
    return header;
}
