// Whatever a daemon sends in place of frames, against a reader that has all of
// it in memory.
#include "link/exchange.h"
#include "link/xml_print.h"
#include "link/xml_root.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_output.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

constexpr size_t most_bytes = 65536;   // that lie in a socket
constexpr uint32_t longest = 1U << 28; // body of a frame

struct reading {
    int result = -1;
    std::string body;    // of the reply
    std::string printed; // notifications on the way to it
};

// The next frame's body; false when there is none.
bool next_body(std::string *stream, std::string *body)
{
    uint32_t length = 0;
    if (stream->size() < 12)
        return false;
    memcpy(&length, stream->data() + 4, sizeof length);
    if (length > longest || stream->size() - 12 < length)
        return false;
    *body = stream->substr(12, length);
    stream->erase(0, 12 + size_t{length});
    return true;
}

std::string printed_text(const std::string &message)
{
    fuzz_output output;
    xml_print(message.c_str());
    return output.text();
}

// A body for which there is room, but which is not there: filling the room with
// zeros is all that it costs, and that costs a thousand other inputs.
bool announces_much(std::string stream)
{
    std::string body;
    while (next_body(&stream, &body)) {
    }
    uint32_t length = 0;
    if (stream.size() >= 12)
        memcpy(&length, stream.data() + 4, sizeof length);
    return length > most_bytes && length <= longest;
}

reading expected(std::string stream)
{
    reading wanted;
    std::string body;
    while (next_body(&stream, &body)) {
        if (is_notification(body.data(), body.size()) == 0) {
            wanted.result = 0;
            wanted.body = body;
            break;
        }
        wanted.printed += printed_text(body);
    }
    return wanted;
}

reading actual()
{
    reading got;
    reply_text reply;
    {
        fuzz_output output;
        got.result = msg_wait_reply(&reply);
        got.printed = output.text();
    }
    const char *body = reply.text.get();
    if (body != nullptr) {
        got.body.assign(body, reply.length);
        fuzz_require(body[reply.length] == '\0', "a zero byte stands behind the body");
    }
    fuzz_require((body != nullptr) == (got.result == 0), "a body comes with success alone");
    fuzz_require(body != nullptr || reply.length == 0, "no body has no length");
    return got;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > most_bytes)
        return -1;
    const std::string stream = fuzz_input(data, size).rest();
    if (announces_much(stream))
        return -1;
    fuzz_shell shell(fuzz_schema_none);
    const reading wanted = expected(stream);
    shell.connect(stream);
    fuzz_require(exchange_lock() == 0, "the lock can be taken");
    const reading got = actual();
    fuzz_require(got.result == wanted.result, "the same result");
    fuzz_require_equal(got.body, wanted.body, "the same reply");
    fuzz_require_equal(got.printed, wanted.printed, "the same notifications");
    return 0;
}
