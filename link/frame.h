// The frame in which every message to and from the daemon travels.
//
//     offset  size  field
//          0     4  magic FEDCBAFF hexadecimal
//          4     4  body length in bytes
//          8     2  sequence, the sender's frame counter
//         10     2  reserved, 0
//         12        body: the XML text of a message
//
// Integers are in the host's byte order; both sides run on one machine.
#ifndef VANDEL_LINK_FRAME_H
#define VANDEL_LINK_FRAME_H

#include <stddef.h>
#include <stdint.h>
#include <string_view>

constexpr uint32_t frame_magic = 0xFEDCBAFF;
constexpr size_t frame_header_size = 12;
constexpr uint32_t frame_body_limit = 1U << 28;

// What a body begins with while it is written in the place of its frame: the
// header overwrites it. It holds no zero byte, so that the text is one text.
constexpr std::string_view frame_room = "(the header)";
static_assert(frame_room.size() == frame_header_size);

// Writes a header to the first frame_header_size bytes of out.
void frame_write_header(uint8_t *out, uint32_t body_length, uint16_t sequence);

// The body length that a received header announces. The other fields carry
// nothing that a receiver needs.
uint32_t frame_body_length(const uint8_t *header);

#endif
