// Reading the frames of a shell (format/frame.h) as they arrive, in pieces.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "device/gateway/byte_buffer.h"
#include "format/frame.h"

constexpr size_t frame_beginning = 4096; // bytes that are kept of a body that is discarded

// Collects one frame at a time. An all-zero reader is ready for a frame.
struct frame_reader {
    char header[frame_header_size];
    size_t header_size; // header bytes read so far
    uint32_t body_left; // body bytes still to come, once the header is complete
    byte_buffer body;   // body bytes read so far
    bool discards;      // no more of the body is kept than its beginning
};

// How many bytes the reader takes before it has to be asked again: the rest of
// the header, or the rest of the body. 0 when a frame is complete. Reading no
// more than this keeps what follows in the socket, which is the back pressure
// that a shell feels.
size_t frame_reader_want(const frame_reader *reader);

// Takes bytes, no more than wanted. Null, or what is wrong, a static text; a bad header is told as
// soon as it is complete. Then the reader must not be fed again. Memory grows with the bytes that
// arrive, not with the length that the header announces. That is believed when a mebibyte has come;
// then the address space for all of it is taken.
const char *frame_reader_feed(frame_reader *reader, const char *data, size_t size);

// Gives back the memory of the current frame, or of the next one when none has
// begun, but for the beginning of its body. The frame is read to its end all the
// same, so that the next one is found.
void frame_reader_discard(frame_reader *reader);

// Hands a complete frame's body over, without trailing zero bytes, and makes the reader ready for
// the next frame.
byte_buffer frame_reader_take(frame_reader *reader);

// Whether nothing of a further frame has been read.
bool frame_reader_idle(const frame_reader *reader);
