// Staged changes leave the session before the request is sent: whatever becomes
// of the exchange, they are not sent twice. When it fails, the detached tree is
// not freed and RPC mode goes on.
#include "cmdtree/commit.h"

#include <stdint.h>
#include <stdio.h>

#include "bounded.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/tree.h"
#include "cmdtree/xml_writer.h"
#include "link/exchange.h"
#include "link/frame.h"
#include "link/xml_print.h"
#include "schema/local_entries.h"
#include "schema/masking.h"
#include "schema/rpc_mode.h"
#include "shell/args.h"
#include "shell/profile.h"
#include "shell/session.h"
#include "shell/text.h"

namespace
{

constexpr size_t header_size = 512;

const char edit_config_head[] =
    "  <edit-config>\r\n"
    "    <target>\r\n"
    "      <running/>\r\n"
    "    </target>\r\n"
    "    <error-option>rollback-on-error</error-option>\r\n"
    "    <config xmlns:xc=\"urn:ietf:params:xml:ns:netconf:base:1.0\">\r\n";
const char edit_config_tail[] = "    </config>\r\n"
                                "  </edit-config>\r\n"
                                "</rpc>\r\n";
const char rpc_tail[] = "</rpc>\r\n";

command_tree *current_tree()
{
    return session.rpc_path != nullptr ? &session.rpc_tree : &session.config_tree;
}

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

// The body in the output pool between head and tail, with the bytes for "/" and
// ":" restored in the body; without data when memory runs out. Releases the pool.
text_buffer join_request(std::string_view head, std::string_view tail)
{
    text_buffer request;
    if (text_append(&request, frame_room) != 0 || text_append(&request, head) != 0) {
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
    const bool in_rpc = session.rpc_path != nullptr;
    if (tree_to_xml(tree->root, in_rpc ? path_scope_session : path_scope_configuration) != 0) {
        puts("cmdtree to netconf error \r");
        return {};
    }
    char head[header_size];
    const int written =
        sprintf_s(head, sizeof head,
                  "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"%d\">\r\n%s",
                  static_cast<int>(session.message_id), in_rpc ? "" : edit_config_head);
    session.message_id++;
    if (written < 0) {
        pool_release();
        return {};
    }
    return join_request(head, in_rpc ? rpc_tail : edit_config_tail);
}

// Sends the request and prints the reply; 0 or -1 with a message.
int exchange_request(text_buffer *request)
{
    if (msg_send_buffer(request) != 0) {
        puts("Send message error. \r");
        return -1;
    }
    char *reply = nullptr;
    uint32_t length = 0;
    if (msg_wait_reply(&reply, &length) != 0) {
        puts("Read message failed. \r");
        return -1;
    }
    const malloc_ptr<char> owned_reply(reply);
    puts("\r");
    xml_print(reply);
    return 0;
}

// Stages what the profile holds; false when only a part of it could be read,
// which must not be sent as if it were all. A profile that cannot be opened
// holds nothing, but an rpc must not be called without its input.
bool replay_staged()
{
    const profile_replay_result result = profile_load();
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
    if (session.oneshot != 0 && !replay_staged())
        return 0;
    command_tree *tree = current_tree();
    if (require_tree(tree) != 0)
        return 0;
    text_buffer request = build_request(tree);
    if (!request.data)
        return 0;
    cmd_node *sent = tree_detach(tree);
    if (exchange_request(&request) != 0)
        return 0;
    tree_free_node(sent);
    local_entries_forget(session.rpc_path, nullptr);
    rpc_mode_leave();
    if (session.oneshot != 0)
        profile_write_back();
    return 0;
}
