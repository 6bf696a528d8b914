// A reply's text through what looks into replies: the notification test, and
// then the printer, a command or the list entries that are read from it.
//
// Input: a byte that picks who reads the reply, the reply.
#include <algorithm>

#include "browse/descendants.h"
#include "browse/server_read.h"
#include "commands/commands.h"
#include "complete/schema_matches.h"
#include "link/xml_print.h"
#include "link/xml_root.h"
#include "schema/masking.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_output.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

constexpr size_t longest_text = 4096;

void check_entries(fuzz_shell *shell, const std::string &reply, const char *list)
{
    shell->serve(reply, 1);
    descendant_set entries;
    if (server_list_entries(place_at(list, path_scope_session), &entries) != 0)
        return;
    for (const descendant *entry = entries.nodes; entry != nullptr; entry = entry->next) {
        const std::string name = entry->name;
        fuzz_require(name.find_first_of("/ ") == std::string::npos, "no entry's name is cut");
        fuzz_require(name.find('[') != std::string::npos && name.back() == ']',
                     "an entry has a predicate");
        fuzz_require(std::count(name.begin(), name.end(), '[') == 1 &&
                         std::count(name.begin(), name.end(), ']') == 1,
                     "an entry has one predicate");
    }
}

struct reading_command {
    const char *workspace;
    int (*handler)(const char *);
    const char *line;
};

constexpr reading_command commands[] = {
    {"/m/c", cmd_ls, "ls"},
    {"/m/c/l", cmd_ls, "ls"},
    {"/m/c/l2", cmd_ls, "ls"},
    {"/m/c", cmd_get, "get x"},
    {"/m/c", cmd_get_config, "get-config -r l[name=a]"},
    {"/m/c", cmd_cd, "cd a2"},
    {"/m/c/l", cmd_cd, "cd l[name=a]"},
};
constexpr size_t command_count = sizeof commands / sizeof commands[0];

void run_command(fuzz_shell *shell, const std::string &reply, const reading_command &command)
{
    fuzz_shell::set_text(&session.pwd, command.workspace);
    shell->serve(reply, 6);
    const fuzz_output output;
    command.handler(command.line);
}

void print(const std::string &reply)
{
    const fuzz_output output;
    xml_print(fuzz_text(reply.c_str()).get());
}

void read_reply(fuzz_shell *shell, const std::string &reply, size_t reader)
{
    if (reader < command_count)
        run_command(shell, reply, commands[reader]);
    else if (reader == command_count)
        check_entries(shell, reply, "/m/c/l");
    else if (reader == command_count + 1)
        check_entries(shell, reply, "/m/c/l2");
    else
        print(reply);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_text)
        return -1;
    fuzz_input input(data, size);
    const size_t reader = input.byte() % (command_count + 3);
    const std::string reply = input.rest();
    fuzz_shell shell(fuzz_schema_sample);
    const fuzz_block block = fuzz_bytes(reply);
    const int first = is_notification(block.get(), reply.size());
    fuzz_require(first == 0 || first == 1, "a notification or not");
    read_reply(&shell, reply, reader);
    return 0;
}
