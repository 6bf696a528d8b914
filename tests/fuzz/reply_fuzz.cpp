// A reply's text through everything that looks into replies: the notification
// test, the printer, and the commands that read data and list entries from it.
#include "complete/schema_matches.h"
#include "link/notification.h"
#include "link/xml_print.h"
#include "schema/descendants.h"
#include "schema/masking.h"
#include "schema/navigation.h"
#include "schema/read_commands.h"
#include "schema/server_read.h"

#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_shell.h"
#include "tests/support/captured_output.h"

#include <algorithm>

namespace
{

constexpr size_t longest_text = 4096;

void check_entries(fuzz_shell *shell, const std::string &reply, const char *list)
{
    shell->serve(reply, 1);
    descendant_set entries;
    if (server_list_entries(list, &entries) != 0) {
        return;
    }
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

void run_commands(fuzz_shell *shell, const std::string &reply)
{
    static const struct {
        const char *workspace;
        int (*handler)(const char *);
        const char *line;
    } commands[] = {
        {"/m/c", cmd_ls, "ls"},
        {"/m/c/l", cmd_ls, "ls"},
        {"/m/c/l2", cmd_ls, "ls"},
        {"/m/c", cmd_get, "get x"},
        {"/m/c", cmd_get_config, "get-config -r l[name=a]"},
        {"/m/c", cmd_cd, "cd a2"},
        {"/m/c/l", cmd_cd, "cd l[name=a]"},
    };
    for (const auto &command : commands) {
        fuzz_shell::set_text(&session.pwd, command.workspace);
        shell->serve(reply, 6);
        captured_output output;
        command.handler(command.line);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_text) {
        return -1;
    }
    const std::string text = fuzz_input(data, size).rest();
    fuzz_shell shell(fuzz_schema_sample);
    const fuzz_block block = fuzz_bytes(text);
    const int first = is_notification(block.get(), text.size());
    fuzz_require(first == 0 || first == 1, "a notification or not");
    {
        captured_output output;
        xml_print(fuzz_text(text.c_str()).get());
    }
    check_entries(&shell, text, "/m/c/l");
    check_entries(&shell, text, "/m/c/l2");
    run_commands(&shell, text);
    return 0;
}
