// Staged changes leave the session before the request is sent: whatever becomes
// of the exchange, they are not sent twice. When it fails, the detached tree loses its
// values and is not freed, and RPC mode goes on.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/session.h"
#include "base/text.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "cmdtree/xml_writer.h"
#include "commands/rpc_mode.h"
#include "commands/staging.h"
#include "format/namespaces.h"
#include "link/request.h"
#include "schema/masking.h"

namespace
{

const char edit_config_head[] = "  <edit-config>\r\n"
                                "    <target>\r\n"
                                "      <running/>\r\n"
                                "    </target>\r\n"
                                "    <error-option>rollback-on-error</error-option>\r\n"
                                "    <config xmlns:xc=\"" NETCONF_BASE_NAMESPACE "\">\r\n";
const char edit_config_tail[] = "    </config>\r\n"
                                "  </edit-config>\r\n"
                                "</rpc>\r\n";
const char rpc_tail[] = "</rpc>\r\n";

// Makes sure that there is something to send; an rpc can be called without
// input.
int require_tree(command_tree *tree)
{
    if (tree->root != nullptr)
        return 0;
    if (session.rpc_path == nullptr) {
        puts("There is no configuration data. \r");
        return -1;
    }
    if (tree_add_structural(tree, session.rpc_path) == 0)
        return 0;
    tree_free(tree);
    return -1;
}

// The body in the output pool between its envelope, with the bytes for "/" and ":"
// restored in the body; without data when memory runs out. Releases the pool.
text_buffer join_request(std::string_view head, std::string_view tail)
{
    text_buffer request;
    if (request_begin(&request) != 0 || text_append(&request, head) != 0) {
        pool_release();
        return {};
    }
    const size_t body = request.length;
    if (pool_move_to(&request, tail.size()) != 0)
        return {};
    unmask_keys(request.data.get() + body);
    text_append(&request, tail); // there is room
    return request;
}

// The request that carries the tree; without data when it cannot be built, and
// then the tree is as it was.
text_buffer build_request(const command_tree *tree)
{
    if (tree_to_xml(tree->root, path_scope_session) != 0) {
        puts("cmdtree to netconf error \r");
        return {};
    }
    return session.rpc_path != nullptr ? join_request("", rpc_tail)
                                       : join_request(edit_config_head, edit_config_tail);
}

// Sends the request and prints the reply; 0 or -1 with a message.
int exchange_request(text_buffer *request)
{
    reply_text reply;
    const request_result result = request_exchange(request, &reply);
    if (result == request_unsent)
        puts("Send message error. \r");
    else if (result == request_unanswered)
        puts("Read message failed. \r");
    else
        reply_print(reply);
    return result == request_answered ? 0 : -1;
}

// Wipes the values of changes that stay in the log and are staged no longer.
void wipe_values(const command_log &log)
{
    for (const cmd_node *node = log.first; node != nullptr; node = node->log_next)
        text_wipe(node->value);
}

// Makes sure that all is staged; false when only a part of a profile could be read,
// which must not be sent as if it were all. A profile that cannot be opened
// holds nothing, but an rpc must not be called without its input.
bool replay_staged()
{
    const profile_replay_result result = staged_restore();
    return result != profile_unread && (result != profile_unopened || session.rpc_path == nullptr);
}

} // namespace

int cmd_commit(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1) {
        puts("error command, please use:commit \r");
        return 0;
    }
    if (!replay_staged())
        return 0;
    command_tree *tree = staged_tree();
    if (require_tree(tree) != 0)
        return 0;
    text_buffer request = build_request(tree);
    if (!request.data)
        return 0;
    cmd_node *sent = tree_detach(tree);
    if (exchange_request(&request) != 0) {
        wipe_values(tree->log);
        return 0;
    }
    tree_free_subtree(tree, sent);
    local_entries_forget(session.rpc_path, nullptr);
    rpc_mode_leave();
    staged_keep();
    return 0;
}
