// The profile file with any content: loaded at start-up, and replayed. What was
// replayed becomes a request, and is written back as a profile that says the
// same when it is replayed in its turn.
#include "cmdtree/xml_writer.h"
#include "profile/profile.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_output.h"
#include "tests/fuzz/fuzz_profile.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

// A container may be set and then deleted while changes below it stay. Its line is written
// after theirs, and a replay that comes to it drops them.
bool is_dropped_by_replay(const cmd_node *change)
{
    for (const cmd_node *node = change->log_next; node != nullptr; node = node->log_next) {
        if (node->operation == operation_delete &&
            std::string(change->path).rfind(std::string(node->path) + "/", 0) == 0)
            return true;
    }
    return false;
}

// One line per staged change, but for those that a replay of what is written back drops.
std::string staged(const command_tree &tree)
{
    std::string text;
    for (const cmd_node *node = tree.log.first; node != nullptr; node = node->log_next) {
        const cmd_node *found = tree_find(&tree, node->path);
        fuzz_require(found != nullptr, "what is staged is found by its path");
        fuzz_require(node->operation != operation_structural, "a staged node changes something");
        if (!is_dropped_by_replay(node))
            text += std::to_string(node->operation) + " " + node->path +
                    (node->value != nullptr ? std::string(" ") + node->value : "") + "\n";
    }
    return text;
}

std::string all_staged()
{
    return staged(session.config_tree) + "\n" + staged(session.rpc_tree);
}

void check_start()
{
    const fuzz_shell shell(fuzz_schema_sample);
    profile_load_start();
    fuzz_require(session.pwd != nullptr && *session.pwd != '\0', "there is a workspace");
    fuzz_require(session.rpc_path == nullptr || *session.rpc_path != '\0', "an rpc has a name");
}

void write_request(const command_tree &tree, path_scope scope)
{
    if (tree.root != nullptr) {
        tree_to_xml(tree.root, scope);
        pool_release();
    }
}

// Replays the file and puts another in its place; what was staged, and whether
// every line was taken.
std::string replayed_and_written_back(bool *taken)
{
    const fuzz_shell shell(fuzz_schema_sample);
    const fuzz_output output; // of a delete line that is none
    const std::string before = fuzz_profile_read();
    *taken = profile_load() == 0;
    fuzz_require(fuzz_profile_read() == before, "a replay does not write");
    const std::string changes = all_staged();
    write_request(session.config_tree, path_scope_configuration);
    write_request(session.rpc_tree, path_scope_session);
    fuzz_require(all_staged() == changes, "writing a request changes nothing");
    fuzz_require(profile_write_back() == 0, "the profile can be written back");
    return changes;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*words*/)
{
    private_tmp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string content = fuzz_input(data, size).rest();
    bool taken = false;
    bool taken_again = false;
    fuzz_profile_write(content);
    check_start();
    const std::string changes = replayed_and_written_back(&taken);
    const std::string again = replayed_and_written_back(&taken_again);
    if (taken) {
        fuzz_require(taken_again, "a profile that was written can be replayed");
        fuzz_require_equal(again, changes, "and says the same");
    }
    return 0;
}
