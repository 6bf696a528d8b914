// A shell's stream of frames, cut into pieces, against a reader that has the
// whole stream before it.
//
// Input: a byte (the size of the pieces), the stream.
#include "device/gateway/frame.h"

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace
{

// Bodies, each ended by a line feed, then why it ends.
std::string read_at_once(std::string stream)
{
    std::string result;
    while (stream.size() >= 12) {
        const auto byte = [&stream](size_t at) {
            return static_cast<size_t>(static_cast<unsigned char>(stream[at]));
        };
        const size_t length = byte(4) | byte(5) << 8 | byte(6) << 16 | byte(7) << 24;
        if (stream.compare(0, 4, "\xff\xba\xdc\xfe") != 0)
            return result + "a frame from the shell has a wrong magic number";
        if (length > size_t{1} << 28)
            return result + "a frame from the shell is longer than 256 MiB";
        if (byte(10) != 0 || byte(11) != 0)
            return result + "a frame from the shell has a reserved field that is not zero";
        if (length > 0 && stream.size() - 12 < length)
            break;
        const std::string body = stream.substr(12, length);
        const size_t last = body.find_last_not_of('\0');
        if (last == std::string::npos)
            return result + "a frame from the shell is empty";
        result += body.substr(0, last + 1) + "\n";
        stream.erase(0, 12 + length);
    }
    return result;
}

std::string read_in_pieces(const std::string &stream, size_t piece)
{
    std::string result;
    frame_reader reader = {};
    for (size_t from = 0; from < stream.size(); from += piece) {
        const std::string bytes = stream.substr(from, piece);
        const fuzz_block block = fuzz_bytes(bytes);
        for (size_t at = 0; at < bytes.size();) {
            const size_t step = std::min(frame_reader_want(&reader), bytes.size() - at);
            const char *fault = frame_reader_feed(&reader, block.get() + at, step);
            at += step;
            if (fault != nullptr)
                return result + fault;
            if (frame_reader_want(&reader) == 0) {
                const byte_buffer body = frame_reader_take(&reader);
                result.append(body.data.get(), body.size).append("\n");
            }
            fuzz_require(frame_reader_want(&reader) > 0, "the reader wants more");
        }
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const size_t piece = input.byte() + 1;
    const std::string stream = input.rest();
    const std::string wanted = read_at_once(stream);
    fuzz_require_equal(read_in_pieces(stream, piece), wanted, "the same frames in pieces");
    fuzz_require_equal(read_in_pieces(stream, stream.size() + 1), wanted, "and at once");
    return 0;
}
