// Where one NETCONF message ends and the next begins, as the server sends them.
//
// Two framings exist: the end-of-message mark "]]>]]>" after each message,
// which every session starts with, and the chunked one ("\n#SIZE\n", that many
// bytes, ..., "\n##\n"), which both sides use after their hellos when both speak
// version 1.1. The decoder takes the stream in pieces that may be cut anywhere
// and gives the messages' bytes out as spans, without copying them.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string_view>

// All zero: end-of-message framing, before the first message.
struct framing_decoder {
    bool chunked;        // set by the owner, between two messages only
    uint8_t state;       // chunked: the part that is expected next
    uint8_t matched;     // end-of-message: bytes of the mark seen so far
    uint32_t chunk_size; // chunked: bytes of the chunk still to come
};

enum framing_event {
    framing_more, // all bytes were used; feed the next ones
    framing_data, // a span of the current message
    framing_end,  // the current message is complete
    framing_bad,  // the stream breaks the framing; feed nothing more
};

struct framing_step {
    framing_event event;
    size_t used;      // bytes of the input that this step consumed
    const char *data; // framing_data: the span, within the input or static
    size_t size;
};

// Takes one step. Call again with the rest of the input until it answers
// framing_more. Work is linear in the size of the stream.
framing_step framing_decode(framing_decoder *decoder, const char *data, size_t size);

// The longest text that framing_chunk_header can make, zero byte included.
constexpr size_t framing_header_size = 16;

// What stands around a message of size bytes (1 to 2^32 - 1) that is sent as
// one chunk: the header is written as zero-terminated text.
void framing_chunk_header(uint32_t size, char header[framing_header_size]);
constexpr std::string_view framing_chunk_trailer = "\n##\n";

// The mark of end-of-message framing. A message that holds it cannot be sent in that.
constexpr std::string_view framing_mark = "]]>]]>";
