#include "commands/workspace.h"

#include <string.h>

#include "base/log.h"
#include "base/session.h"
#include "base/text.h"
#include "commands/staging.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

heap_text prompt_for(const char *workspace)
{
    const char *rpc = session.rpc_path;
    if (rpc == nullptr)
        return text_concat({"\n", workspace, "$ "});
    const char *below = "";
    if (path_is_within(workspace, rpc) && workspace[strlen(rpc)] == '/')
        below = workspace + strlen(rpc) + 1;
    return text_concat({"\n[", path_last_component(rpc), "]", below, "$ "});
}

} // namespace

int workspace_set(const char *path)
{
    heap_text workspace = unmasked_copy(path);
    heap_text prompt = prompt_for(path);
    if (!workspace || !prompt) {
        log_debug("[DEBUG] out of memeory\r\n\n");
        return -1;
    }
    unmask_all(prompt.get());
    text_replace(&session.pwd, std::move(workspace));
    text_replace(&session.prompt, std::move(prompt));
    session_keep("[pwd]", session.pwd);
    return 0;
}

void workspace_reset()
{
    workspace_set(session.rpc_path != nullptr ? session.rpc_path : "/");
}
