// Arbitrary lines on which Tab and '?' are struck, in workspaces of every kind.
//
// Input, a line each: the workspace; the rpc's path or an empty line; what is
// staged (paths parted by blanks); what the daemon answers whenever it is asked
// for data; the line, its cursor at the first "|" or at its end.
#include <sstream>

#include "cmdtree/local_entries.h"
#include "complete/completion.h"
#include "schema/masking.h"
#include "shell/command_table.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_line.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

constexpr size_t longest_input = 2048;

std::string data_reply(const std::string &data)
{
    return "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><data>" + data +
           "</data></rpc-reply>";
}

void stage(const std::string &paths)
{
    std::istringstream words(paths);
    for (std::string path; words >> path;) {
        const heap_text masked = masked_copy(path.c_str());
        if (session.rpc_path != nullptr)
            tree_stage_rpc(masked.get(), nullptr, operation_set);
        else
            tree_stage_config(masked.get(), nullptr, operation_set);
    }
}

// Tab keeps what stands before the word and what stands behind the cursor (but
// for the byte under it, which a completed word may take).
void check_tab(const std::string &line, size_t point, const fuzz_struck &struck)
{
    size_t word = point;
    while (word > 0 && isspace(static_cast<unsigned char>(line[word - 1])) == 0)
        word--;
    const std::string behind = line.substr(std::min(point + 1, line.size()));
    fuzz_require(struck.point <= struck.line.size(), "the cursor is in the line");
    fuzz_require(struck.line.compare(0, word, line, 0, word) == 0, "the words before it stay");
    fuzz_require(
        struck.line.size() >= behind.size() &&
            struck.line.compare(struck.line.size() - behind.size(), behind.size(), behind) == 0,
        "what stands behind the cursor stays");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_input)
        return -1;
    fuzz_input input(data, size);
    fuzz_shell shell(fuzz_schema_sample);
    fuzz_shell::set_text(&session.pwd, "/" + input.text_line());
    const std::string rpc = input.text_line();
    if (!rpc.empty())
        fuzz_shell::set_text(&session.rpc_path, "/" + rpc);
    stage(input.text_line());
    const std::string reply = data_reply(input.line());
    std::string line = input.text_rest();
    const size_t point = std::min(line.find('|'), line.size());
    line.erase(point, 1);
    static fuzz_line editing;
    shell.serve(reply, 20);
    command_rows_use(command_table);
    const fuzz_struck tab = editing.strike(line, point, completion_tab_key, completion_tab);
    check_tab(line, point, tab);
    shell.serve(reply, 20);
    const fuzz_struck help =
        editing.strike(line, point, completion_help_key, completion_question_mark);
    fuzz_require(help.point <= help.line.size(), "the cursor is in the line");
    return 0;
}
