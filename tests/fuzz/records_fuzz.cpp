// Records of any bytes and names of any bytes in the schema database, as ls, cd,
// Tab and '?' read them.
//
// Input: a byte that picks the workspace and one that picks who looks around
// there; then, again and again, a byte that picks a hash, a name and a record,
// each with its length in a byte before it.
#include "commands/commands.h"
#include "complete/completion.h"
#include "schema/database.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_line.h"
#include "tests/fuzz/fuzz_output.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

constexpr size_t longest_input = 4096;

const char *const hashes[] = {"/",         "/m",         "/m/c",       "/m/c/l",
                              "/m/c/l[]",  "/m/c/ch",    "/m/c/ch/ca", "/m/c/ch/cb/nest",
                              "/m/r",      "/m/r/input", "/m/c/sub",   "/m/c/new",
                              "/m/c/new[]"};
constexpr size_t hash_count = sizeof hashes / sizeof hashes[0];

const char rpc[] = "/m/r";
const char *const workspaces[] = {"/m/c", "/", "/m", "/m/c/l", "/m/c/l[name=a]", "/m/c/new", rpc};
constexpr size_t workspace_count = sizeof workspaces / sizeof workspaces[0];

int number_at(const std::string &record, size_t at)
{
    const unsigned low = static_cast<unsigned char>(record[at]);
    const unsigned high = static_cast<unsigned char>(record[at + 1]);
    return static_cast<int16_t>(low | high << 8);
}

std::string text_at(const std::string &record, int offset)
{
    if (offset < 0 || static_cast<size_t>(offset) + 20 >= record.size())
        return "";
    return record.substr(static_cast<size_t>(offset) + 20).c_str();
}

// What the shell reads in a node record, against the same read by hand.
void check_node_record(const std::string &bytes)
{
    const record_ptr record = record_copy({fuzz_bytes(bytes).get(), bytes.size()});
    const unsigned flags = static_cast<unsigned>(number_at(bytes, 0)) & 0xFFFF;
    const int help = number_at(bytes, 12);
    const bool has_help = help != 0 && help < number_at(bytes, 18);
    fuzz_require(record_kind(record.get()) == (flags >> 6 & 31), "the kind is that of the flags");
    fuzz_require(is_record_of_kind(bytes, node_kind(flags >> 6 & 31)), "and so is the bytes'");
    fuzz_require(record_is_config(record.get()) == ((flags & 1) != 0), "bit 0 is configuration");
    fuzz_require_equal(std::string(record_help(record.get())), has_help ? text_at(bytes, help) : "",
                       "the help text");
    fuzz_require_equal(std::string(record_type_name(record.get())),
                       text_at(bytes, number_at(bytes, 14)), "the type's name");
}

void check_module_record(const std::string &bytes)
{
    const fuzz_block block = fuzz_bytes(bytes);
    fuzz_require_equal(std::string(record_namespace({block.get(), bytes.size()})),
                       bytes.substr(43).c_str(), "the namespace");
}

void put_records(fuzz_input *input)
{
    while (!input->empty()) {
        const std::string hash = hashes[input->byte() % hash_count];
        const std::string name = input->take(input->byte());
        const std::string record = input->take(input->byte());
        fake_redis_put(hash, name, record);
        if (record.size() >= 20)
            check_node_record(record);
        if (record.size() >= 43)
            check_module_record(record);
    }
}

const char *const lines[] = {"", "cd ", "cd l[name=a]/", "add-listentry "};
constexpr size_t line_count = sizeof lines / sizeof lines[0];
constexpr size_t looks = line_count * 2 + 2;

// Strikes '?' or Tab on one of the lines, or runs a command.
void look(size_t way)
{
    static fuzz_line editing;
    if (way < line_count) {
        editing.strike(lines[way], strlen(lines[way]), completion_help_key,
                       completion_question_mark);
    } else if (way < line_count * 2) {
        const char *line = lines[way - line_count];
        editing.strike(line, strlen(line), completion_tab_key, completion_tab);
    } else if (way == line_count * 2) {
        cmd_ls("ls");
    } else {
        cmd_cd("cd new");
    }
}

void look_around(fuzz_shell *shell, const std::string &workspace, size_t way)
{
    static const std::string reply =
        "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><data><c xmlns=\"urn:m\">"
        "<l><name>a b</name></l><a1>1</a1></c></data></rpc-reply>";
    const fuzz_output output;
    fuzz_shell::set_text(&session.pwd, workspace);
    if (workspace == rpc)
        fuzz_shell::set_text(&session.rpc_path, workspace);
    shell->serve(reply, 12);
    look(way);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_input)
        return -1;
    fuzz_input input(data, size);
    const std::string workspace = workspaces[input.byte() % workspace_count];
    const size_t way = input.byte() % looks;
    fuzz_shell shell(fuzz_schema_sample);
    put_records(&input);
    look_around(&shell, workspace, way);
    return 0;
}
