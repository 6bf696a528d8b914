// Series of arbitrary commands, each in a process of its own that finds in the
// profile what the last one left, all but those that write other files.
//
// Input: the daemon's answer to every request, in one line; then one command in
// each line.
#include <sstream>
#include <sys/stat.h>

#include "profile/profile.h"
#include "shell/dispatch.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_output.h"
#include "tests/fuzz/fuzz_profile.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

constexpr size_t longest_input = 2048;

bool touches_files(const std::string &line)
{
    return line.find("port-config") != std::string::npos;
}

// Some changes are recorded unseen, and the replay may stop at the second of them:
// a delete, of what is unknown, and a set without a value, of a leaf-list.
bool is_unseen(const std::string &line)
{
    std::istringstream words(line);
    std::string word;
    std::string path;
    std::string value;
    words >> word >> path >> value;
    return word == "delete" || (word == "set" && value.empty());
}

void run_command(const std::string &line, const std::string &reply)
{
    fuzz_shell shell(fuzz_schema_sample);
    const fuzz_output output;
    session.oneshot = 1;
    fuzz_require(profile_load_start() == 0, "the next process starts");
    shell.serve(reply, 20);
    dispatch(fuzz_text(line).get());
    fuzz_require(session.output.slot[0] == nullptr, "the output pool is empty");
}

// What is known to replay is not replayed again.
void check_profile(bool is_replayable, std::string *checked)
{
    struct stat status = {};
    if (stat(fuzz_profile_name, &status) != 0)
        return;
    fuzz_require((status.st_mode & 0777) == 0600, "the profile is its owner's alone");
    const std::string content = fuzz_profile_read();
    if (content == *checked)
        return;
    *checked = content;
    fuzz_require(content.compare(0, 6, "[pwd]\n") == 0, "the profile begins with the workspace");
    const fuzz_shell shell(fuzz_schema_sample);
    const fuzz_output output;
    fuzz_require(profile_load() == 0 || !is_replayable, "the profile can be replayed");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*words*/)
{
    private_tmp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_input)
        return -1;
    fuzz_input input(data, size);
    const std::string reply = input.line();
    std::string checked;
    bool is_replayable = true;
    remove(fuzz_profile_name);
    while (!input.empty()) {
        const std::string line = input.text_line();
        if (touches_files(line))
            continue;
        is_replayable = is_replayable && !is_unseen(line);
        run_command(line, reply);
        check_profile(is_replayable, &checked);
    }
    return 0;
}
