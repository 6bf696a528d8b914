#include "commands/rpc_mode.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/session.h"
#include "base/text.h"
#include "commands/refusals.h"
#include "commands/workspace.h"
#include "profile/profile.h"
#include "schema/path.h"
#include "schema/schema_path.h"

namespace
{

int enter_rpc(const char *path)
{
    heap_text rpc_path = text_copy(path);
    if (!rpc_path)
        return 0;
    session.rpc_path = rpc_path.release();
    if (workspace_set(session.rpc_path) != 0) {
        text_replace(&session.rpc_path, nullptr);
        return 0;
    }
    if (session.oneshot != 0)
        profile_put_line("[rpc]", session.pwd, profile_replace); // the rpc's path, unmasked
    return 0;
}

bool is_rpc(const record_pair &pair)
{
    return pair.node && record_kind(pair.node.get()) == node_kind_rpc;
}

} // namespace

int rpc_mode_enter(const char *line)
{
    const arg_words words(line);
    if (words.argc == 0)
        return -1;
    const heap_text path = path_absolute(words.argv[0]);
    const bool names_current_rpc =
        path && session.rpc_path != nullptr && strcmp(path.get(), session.rpc_path) == 0;
    const record_pair pair = data_record_pair(path.get(), path_scope_session);
    if (!pair && !names_current_rpc) {
        print_error_parameter(words.argv[0]);
        return -1;
    }
    if (!is_rpc(pair)) {
        puts("invalid operation!!\r");
        return -1;
    }
    if (session.rpc_path != nullptr)
        return -1;
    return words.argc == 1 ? enter_rpc(path.get()) : 0;
}

void rpc_mode_leave()
{
    if (session.rpc_path == nullptr)
        return;
    const heap_text parent = path_parent(session.rpc_path);
    heap_text left(session.rpc_path);
    session.rpc_path = nullptr;
    if (!parent || workspace_set(parent.get()) != 0) {
        session.rpc_path = left.release();
        return;
    }
    if (session.oneshot != 0)
        profile_put_line("[rpc]", "", profile_replace);
}
