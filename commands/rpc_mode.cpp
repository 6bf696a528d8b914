#include "commands/rpc_mode.h"

#include <stdio.h>

#include "base/args.h"
#include "base/session.h"
#include "base/text.h"
#include "commands/operand.h"
#include "commands/staging.h"
#include "commands/workspace.h"
#include "schema/path.h"
#include "schema/place.h"

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
    session_keep("[rpc]", session.pwd); // the rpc's path, unmasked
    return 0;
}

} // namespace

int rpc_mode_enter(const char *line)
{
    const arg_words words(line);
    if (words.argc == 0)
        return -1;
    const place at = place_of(words.argv[0]);
    if (!place_is_known(at)) {
        print_error_parameter(words.argv[0]);
        return -1;
    }
    if (place_kind(at) != node_kind_rpc) {
        puts("invalid operation!!\r");
        return -1;
    }
    if (session.rpc_path != nullptr)
        return -1;
    return words.argc == 1 ? enter_rpc(at.path.get()) : 0;
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
    session_keep("[rpc]", "");
}
