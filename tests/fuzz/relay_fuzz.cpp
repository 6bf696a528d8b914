// A whole session through the gateway: what server and shell send in any order,
// and that what comes out is framed as it should be.
//
// Input: one event in each line, its first byte telling what it is:
//   h  a hello of the server (any text) behind which the mark stands
//   s  bytes of the server        m  a message of it, in the framing in force
//   b  bytes of the shell         f  a frame of the shell with this body
//   n  the server keeps silent    d  the shell is gone
//   e  all that an operator can ask for is wanted of a server that has not said hello
#include <fcntl.h>
#include <libxml/parser.h>
#include <unistd.h>

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/relay_bench.h"

namespace
{

// Takes the frames that the shell gets; they are numbered.
void check_frames(std::string bytes, unsigned *sequence)
{
    while (!bytes.empty()) {
        uint32_t length = 0;
        uint16_t number = 0;
        fuzz_require(bytes.size() > 12, "a frame is not empty");
        memcpy(&length, bytes.data() + 4, sizeof length);
        memcpy(&number, bytes.data() + 8, sizeof number);
        fuzz_require(length > 0 && length <= bytes.size() - 12, "a frame is whole");
        fuzz_require_equal(bytes.substr(0, 12),
                           frame(bytes.substr(12, length), number).substr(0, 12),
                           "a frame has the right header");
        fuzz_require(number == static_cast<uint16_t>(*sequence), "frames are numbered");
        ++*sequence;
        bytes.erase(0, 12 + size_t{length});
    }
}

// All that went to the server must be the hello, then messages in one framing.
void check_messages(std::string stream, bool chunked)
{
    fuzz_require(stream.substr(0, gateway_hello.size()) == gateway_hello, "the hello comes first");
    stream.erase(0, gateway_hello.size());
    framing_decoder decoder = {};
    decoder.chunked = chunked;
    for (framing_step step = {framing_data, 0, nullptr, 0}; step.event != framing_more;) {
        step = framing_decode(&decoder, stream.data(), stream.size());
        fuzz_require(step.event != framing_bad, "the framing is right");
        stream.erase(0, step.used);
    }
}

struct session_log {
    std::string to_server;
    unsigned frames = 0;
};

void drain(relay_bench *bench, session_log *log)
{
    for (bool moved = true; moved && bench->reason.empty();) {
        const std::string requests = bench->to_server();
        const std::string replies = bench->to_shell();
        log->to_server += requests;
        if (bench->reason.empty())
            check_frames(replies, &log->frames);
        moved = !requests.empty() || !replies.empty();
    }
}

void nudge(relay_bench *bench)
{
    if (relay_may_nudge(bench->session.get()))
        relay_nudge(bench->session.get());
}

// Until the bytes are gone or cannot go.
void server_sends(relay_bench *bench, session_log *log, std::string bytes)
{
    for (size_t before = 0; before != bytes.size() && bench->reason.empty();) {
        before = bytes.size();
        bytes = bench->server_sends(bytes, 100);
        drain(bench, log);
    }
}

void shell_sends(relay_bench *bench, session_log *log, std::string bytes)
{
    for (size_t before = 0; before != bytes.size() && bench->reason.empty();) {
        before = bytes.size();
        bytes = bench->shell_sends(bytes);
        drain(bench, log);
    }
}

void take_event(relay_bench *bench, session_log *log, const std::string &event)
{
    const std::string rest = event.substr(event.empty() ? 0 : 1);
    const std::string message = bench->session->decoder.chunked ? chunked(rest) : rest + "]]>]]>";
    switch (event.empty() ? 0 : event[0]) {
    case 'h':
        server_sends(bench, log, rest + "]]>]]>");
        break;
    case 's':
        server_sends(bench, log, rest);
        break;
    case 'm':
        server_sends(bench, log, message);
        break;
    case 'b':
        shell_sends(bench, log, rest);
        break;
    case 'f':
        shell_sends(bench, log, frame(rest));
        break;
    case 'n':
        nudge(bench);
        break;
    case 'd':
        bench->session->deaf = true;
        break;
    case 'e':
        bench->session->extras = {60, defaults_mode_find("trim"), true};
        break;
    default:
        break;
    }
    drain(bench, log);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*words*/)
{
    xmlInitParser();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    relay_bench bench;
    session_log log;
    drain(&bench, &log);
    while (!input.empty() && bench.reason.empty())
        take_event(&bench, &log, input.line());
    if (bench.reason.empty()) {
        relay_server_ended(bench.session.get());
        check_messages(log.to_server, bench.session->decoder.chunked);
        fuzz_require(outgoing_idle(&bench.session->to_server), "everything has gone out");
    }
    return 0;
}
