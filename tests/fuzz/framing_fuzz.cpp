// A server's stream in both framings, cut into pieces, against a decoder that
// has the whole stream before it.
//
// Input: a byte (bit 0: chunked; the rest: the size of the pieces), the stream.
#include "device/gateway/framing.h"

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace
{

// Each complete message ends in a line of its own; "bad" is where decoding ends.
const std::string message_end = "\n(end)\n";
const std::string broken = "\n(bad)\n";

std::string decode_marked(const std::string &stream)
{
    std::string result;
    size_t at = 0;
    for (size_t mark; (mark = stream.find("]]>]]>", at)) != std::string::npos; at = mark + 6)
        result += stream.substr(at, mark - at) + message_end;
    // What can be the beginning of a mark is held back.
    std::string rest = stream.substr(at);
    for (size_t length = 5; length > 0; length--) {
        const std::string beginning = std::string("]]>]]>").substr(0, length);
        if (rest.size() >= length && rest.substr(rest.size() - length) == beginning) {
            rest.erase(rest.size() - length);
            break;
        }
    }
    return result + rest;
}

// Reads "\n#SIZE\n" or "\n##\n" at the front of stream. 1: complete, and taken
// off; 0: it may become so; -1: it cannot.
int read_header(std::string *stream, bool first, size_t *chunk)
{
    std::string rest = *stream;
    uint64_t size = 0;
    if (rest.empty() || rest[0] != '\n')
        return rest.empty() ? 0 : -1;
    rest.erase(0, 1);
    while (first && !rest.empty() && rest[0] == '\n')
        rest.erase(0, 1);
    if (rest.empty() || rest[0] != '#')
        return rest.empty() ? 0 : -1;
    rest.erase(0, 1);
    const bool is_end = !rest.empty() && rest[0] == '#' && !first;
    const size_t digits = is_end ? 1 : rest.find_first_not_of("0123456789");
    const std::string number = rest.substr(0, digits);
    if (!is_end && !number.empty() && number[0] == '0')
        return -1;
    for (size_t i = 0; !is_end && i < number.size(); i++) {
        size = size * 10 + static_cast<uint64_t>(number[i] - '0');
        if (size > 0xFFFFFFFF)
            return -1;
    }
    rest.erase(0, number.size());
    if (rest.empty() || number.empty())
        return rest.empty() ? 0 : -1;
    if (rest[0] != '\n')
        return -1;
    *stream = rest.substr(1);
    *chunk = static_cast<size_t>(size);
    return 1;
}

std::string decode_chunked(std::string stream)
{
    std::string result;
    size_t chunk = 0;
    bool first = true;
    int header = 0;
    while ((header = read_header(&stream, first, &chunk)) == 1) {
        first = chunk == 0;
        if (first) {
            result += message_end;
            continue;
        }
        const std::string data = stream.substr(0, chunk);
        result += data;
        stream.erase(0, data.size());
        if (data.size() < chunk)
            break;
        chunk = 0;
    }
    return header < 0 ? result + broken : result;
}

std::string decode_in_pieces(const std::string &stream, bool chunked, size_t piece)
{
    std::string result;
    framing_decoder decoder = {};
    decoder.chunked = chunked;
    for (size_t from = 0; from < stream.size(); from += piece) {
        const std::string bytes = stream.substr(from, piece);
        const fuzz_block block = fuzz_bytes(bytes);
        framing_step step = {framing_data, 0, nullptr, 0};
        for (size_t at = 0; step.event != framing_more; at += step.used) {
            step = framing_decode(&decoder, block.get() + at, bytes.size() - at);
            fuzz_require(step.used <= bytes.size() - at, "no more is used than there is");
            if (step.event == framing_bad)
                return result + broken;
            if (step.event == framing_data)
                result.append(step.data, step.size);
            result += step.event == framing_end ? message_end : "";
        }
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const unsigned flags = input.byte();
    const std::string stream = input.rest();
    const bool chunked = (flags & 1) != 0;
    const std::string wanted = chunked ? decode_chunked(stream) : decode_marked(stream);
    fuzz_require_equal(decode_in_pieces(stream, chunked, flags / 2 + 1), wanted,
                       "the same messages in pieces");
    fuzz_require_equal(decode_in_pieces(stream, chunked, stream.size() + 1), wanted,
                       "the same messages at once");
    return 0;
}
