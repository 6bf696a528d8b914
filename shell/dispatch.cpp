#include "shell/dispatch.h"

#include <stdio.h>
#include <string.h>

#include "base/session.h"
#include "base/text.h"
#include "commands/commands.h"
#include "commands/rpc_mode.h"
#include "schema/command_reads.h"
#include "shell/command_table.h"

namespace
{

heap_text copy_first_word(const char *line)
{
    size_t length = 0;
    while (line[length] != '\0' && !is_space(line[length]))
        length++;
    return heap_text(strndup(line, length));
}

// quit ends the shell, or the current rpc with what was staged for it.
dispatch_result quit()
{
    if (session.rpc_path == nullptr)
        return dispatch_leave;
    char discard[] = "discard_changes";
    cmd_discard_changes(discard);
    // Input that could not be discarded must not reach the next rpc.
    if (session.rpc_tree.root == nullptr)
        rpc_mode_leave();
    return dispatch_ran;
}

} // namespace

dispatch_result dispatch(char *line)
{
    const command_reads reads;
    while (is_space(*line))
        line++;
    const heap_text word = copy_first_word(line);
    if (!word || *word == '\0')
        return dispatch_nothing;
    if (strcmp(word.get(), "quit") == 0)
        return quit();
    const cmd_entry *entry = command_find(command_table, word.get());
    if (entry != nullptr) {
        entry->handler(line);
        return dispatch_ran;
    }
    if (rpc_mode_enter(line) == 0)
        return dispatch_ran;
    printf("%s: no such command, type 'help' for more information.\n", word.get());
    return dispatch_nothing;
}
