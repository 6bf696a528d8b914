// Sessions of arbitrary command lines, all but those that write files.
//
// Input: the daemon's answer to every request, in one line; then one command in
// each line.
#include "shell/dispatch.h"

#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_output.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

constexpr size_t longest_input = 2048;

bool touches_files(const std::string &line)
{
    return line.find("port-config") != std::string::npos;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_input)
        return -1;
    fuzz_input input(data, size);
    fuzz_shell shell(fuzz_schema_sample);
    const std::string reply = input.line();
    while (!input.empty()) {
        const std::string line = input.text_line();
        const fuzz_block block = fuzz_text(line);
        if (touches_files(line))
            continue;
        shell.serve(reply, 20);
        const fuzz_output output;
        const dispatch_result result = dispatch(block.get());
        fuzz_require(session.pwd != nullptr && *session.pwd == '/', "there is a workspace");
        fuzz_require(result != dispatch_leave || session.rpc_path == nullptr,
                     "quit leaves the rpc first");
        fuzz_require(session.output.slot[0] == nullptr, "the output pool is empty");
    }
    return 0;
}
