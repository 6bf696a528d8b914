#include "device/gateway/frame.h"

#include "bounded.h"

namespace
{

// When so much of a body has come, the rest of it is believed to come, too.
constexpr size_t believed_from = 1 << 20;

constexpr char is_empty[] = "a frame from the shell is empty";

const char *judge_header(frame_reader *reader)
{
    const frame_header header = frame_header_read(reader->header);
    if (header.magic != frame_magic)
        return "a frame from the shell has a wrong magic number";
    if (header.length > frame_body_limit)
        return "a frame from the shell is longer than 256 MiB";
    if (header.reserved != 0)
        return "a frame from the shell has a reserved field that is not zero";
    reader->body_left = header.length;
    return header.length == 0 ? is_empty : nullptr;
}

// Cuts the zero bytes that end the text; a body of nothing else is no text.
const char *finish_body(frame_reader *reader)
{
    const char *bytes = reader->body.data.get();
    while (reader->body.size > 0 && bytes[reader->body.size - 1] == '\0')
        reader->body.size--;
    return reader->body.size == 0 ? is_empty : nullptr;
}

const char *feed_header(frame_reader *reader, const char *data, size_t size)
{
    memcpy_s(reader->header + reader->header_size, sizeof reader->header - reader->header_size,
             data, size);
    reader->header_size += size;
    return reader->header_size == frame_header_size ? judge_header(reader) : nullptr;
}

const char *feed_body(frame_reader *reader, const char *data, size_t size)
{
    const size_t length = reader->body.size + reader->body_left;
    const size_t limit = reader->discards ? frame_beginning : length;
    const size_t room = limit - reader->body.size;
    if (reader->body.size >= believed_from)
        byte_buffer_reserve(&reader->body, limit);
    if (byte_buffer_append(&reader->body, data, size < room ? size : room, limit) != buffer_ok)
        return "out of memory for a frame from the shell";
    reader->body_left -= static_cast<uint32_t>(size);
    return reader->body_left == 0 ? finish_body(reader) : nullptr;
}

} // namespace

size_t frame_reader_want(const frame_reader *reader)
{
    if (reader->header_size < frame_header_size)
        return frame_header_size - reader->header_size;
    return reader->body_left;
}

const char *frame_reader_feed(frame_reader *reader, const char *data, size_t size)
{
    return reader->header_size < frame_header_size ? feed_header(reader, data, size)
                                                   : feed_body(reader, data, size);
}

void frame_reader_discard(frame_reader *reader)
{
    reader->discards = true;
    byte_buffer_cut(&reader->body, frame_beginning);
}

byte_buffer frame_reader_take(frame_reader *reader)
{
    reader->discards = false;
    reader->header_size = 0;
    return byte_buffer_take(&reader->body);
}

bool frame_reader_idle(const frame_reader *reader)
{
    return reader->header_size == 0;
}
