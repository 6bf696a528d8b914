#include "device/gateway/framing.h"

#include <string.h>

#include "bounded.h"

namespace
{

// When the byte after n matching bytes of the mark does not match, this many of
// them can still be its beginning; the others are text.
constexpr uint8_t mark_border[framing_mark.size()] = {0, 0, 1, 0, 1, 2};

enum chunk_state : uint8_t {
    before_message, // the line feed of the first chunk; a server may put more of them there
    first_hash,
    first_digit, // of the first chunk: a message has one chunk at least
    digits,
    chunk_data,
    after_chunk,
    next_hash,
    next_digit, // or the second hash of the end
    last_line_feed,
};

framing_step step_of(framing_event event, size_t used)
{
    return {event, used, nullptr, 0};
}

framing_step decode_marked(framing_decoder *decoder, const char *data, size_t size)
{
    if (decoder->matched == 0 && size > 0) {
        const void *bracket = memchr(data, framing_mark[0], size);
        const size_t run = bracket != nullptr
                               ? static_cast<size_t>(static_cast<const char *>(bracket) - data)
                               : size;
        if (run > 0)
            return {framing_data, run, data, run};
    }
    for (size_t at = 0; at < size; at++) {
        if (data[at] != framing_mark[decoder->matched]) {
            const uint8_t border = mark_border[decoder->matched];
            const size_t text = static_cast<size_t>(decoder->matched) - border;
            decoder->matched = border;
            return {framing_data, at, framing_mark.data(), text};
        }
        if (++decoder->matched == framing_mark.size()) {
            decoder->matched = 0;
            return step_of(framing_end, at + 1);
        }
    }
    return step_of(framing_more, size);
}

bool add_digit(framing_decoder *decoder, char digit)
{
    const uint64_t value = uint64_t{decoder->chunk_size} * 10 + static_cast<uint64_t>(digit - '0');
    if (value > UINT32_MAX)
        return false;
    decoder->chunk_size = static_cast<uint32_t>(value);
    return true;
}

// The first byte of a size is no zero, so that a size is never zero.
bool begin_size(framing_decoder *decoder, char digit)
{
    decoder->chunk_size = 0;
    decoder->state = digits;
    return digit >= '1' && digit <= '9' && add_digit(decoder, digit);
}

bool go_on(framing_decoder *decoder, bool right, chunk_state next)
{
    decoder->state = next;
    return right;
}

// Takes one byte that belongs to the framing; false: it may not stand there.
bool take_framing_byte(framing_decoder *decoder, char byte)
{
    switch (decoder->state) {
    case before_message:
        return go_on(decoder, byte == '\n', first_hash);
    case first_hash:
        return byte == '\n' || go_on(decoder, byte == '#', first_digit);
    case first_digit:
        return begin_size(decoder, byte);
    case digits:
        if (byte >= '0' && byte <= '9')
            return add_digit(decoder, byte);
        return go_on(decoder, byte == '\n', chunk_data);
    case after_chunk:
        return go_on(decoder, byte == '\n', next_hash);
    case next_hash:
        return go_on(decoder, byte == '#', next_digit);
    case next_digit:
        return byte == '#' ? go_on(decoder, true, last_line_feed) : begin_size(decoder, byte);
    default:
        return go_on(decoder, byte == '\n', before_message);
    }
}

framing_step decode_chunked(framing_decoder *decoder, const char *data, size_t size)
{
    for (size_t at = 0; at < size; at++) {
        if (decoder->state == chunk_data) {
            const size_t rest = size - at;
            const size_t span = rest < decoder->chunk_size ? rest : decoder->chunk_size;
            decoder->chunk_size -= static_cast<uint32_t>(span);
            if (decoder->chunk_size == 0)
                decoder->state = after_chunk;
            return {framing_data, at + span, data + at, span};
        }
        if (!take_framing_byte(decoder, data[at]))
            return step_of(framing_bad, at + 1);
        if (decoder->state == before_message)
            return step_of(framing_end, at + 1);
    }
    return step_of(framing_more, size);
}

} // namespace

framing_step framing_decode(framing_decoder *decoder, const char *data, size_t size)
{
    return decoder->chunked ? decode_chunked(decoder, data, size)
                            : decode_marked(decoder, data, size);
}

void framing_chunk_header(uint32_t size, char header[framing_header_size])
{
    sprintf_s(header, framing_header_size, "\n#%u\n", static_cast<unsigned>(size));
}
