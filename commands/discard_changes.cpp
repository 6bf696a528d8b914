// The command discard_changes.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/session.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "profile/profile.h"

namespace
{

void discard_staged()
{
    if (session.oneshot != 0) {
        profile_write_fresh();
    } else if (session.rpc_path != nullptr) {
        tree_free(&session.rpc_tree);
        local_entries_forget(session.rpc_path, nullptr);
    } else {
        tree_free(&session.config_tree);
        local_entries_forget(nullptr, nullptr);
    }
}

} // namespace

int cmd_discard_changes(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1) {
        puts("error command, please use:discard_changes (no param)\r");
        return 0;
    }
    discard_staged();
    puts("The discard_changes command executed successfuly!");
    return 0;
}
