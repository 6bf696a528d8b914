#include "cmdtree/edit_commands.h"

#include <stdio.h>
#include <string.h>

#include "cmdtree/forget_entries.h"
#include "cmdtree/record_command.h"
#include "cmdtree/tree.h"
#include "schema/descendants.h"
#include "schema/local_entries.h"
#include "schema/masking.h"
#include "schema/messages.h"
#include "schema/path.h"
#include "schema/schema_path.h"
#include "shell/args.h"
#include "shell/profile.h"
#include "shell/session.h"
#include "shell/text.h"

namespace
{

bool is_leaf_or_leaf_list(const schema_record *record)
{
    const unsigned kind = record_kind(record);
    return kind == node_kind_leaf || kind == node_kind_leaf_list;
}

// The path of an operand that names a schema path; null with a message.
heap_text resolve_operand(char *operand)
{
    heap_text path = path_absolute(operand);
    if (path && !path_outside_rpc(path.get()) && schema_path_of(path.get(), path_scope_session))
        return path;
    print_error_parameter(operand);
    return nullptr;
}

bool can_set(char *path, char *operand)
{
    const record_pair pair = data_record_pair(path, path_scope_session);
    if (!pair.node) {
        print_error_parameter(operand);
        return false;
    }
    if (!record_is_config(pair.node.get()) || !is_leaf_or_leaf_list(pair.node.get())) {
        print_not_config_node(path);
        return false;
    }
    return true;
}

int stage_set(const char *path, const char *value)
{
    if (session.oneshot != 0)
        return record_command("set", path, value);
    if (session.rpc_path != nullptr)
        return tree_stage_rpc(path, value, operation_set);
    return tree_stage_config(path, value, operation_set);
}

// True when the node is listed where the operator sees it.
bool is_listed(const char *path)
{
    const heap_text parent = path_listing_parent(path);
    descendant_set children;
    return parent && descendants_of(parent.get(), &children) == 0 &&
           descendants_reach(&children, path_last_component(path));
}

bool can_delete(char *path, char *operand, const char *value)
{
    if (!is_listed(path)) {
        unmask_all(operand);
        printf("error: child node:%s  is not existed.\r\n", operand);
        return false;
    }
    const record_pair pair = data_record_pair(path, path_scope_session);
    if (path_levels(path) == 1 || !pair.node) {
        print_error_parameter(operand);
        return false;
    }
    if (!record_is_config(pair.node.get())) {
        print_not_config_node(path);
        return false;
    }
    if (value != nullptr && record_kind(pair.node.get()) != node_kind_leaf_list) {
        unmask_all(operand);
        printf("error parameter: %s. delete key value only support leaflist.\r\n", operand);
        return false;
    }
    return true;
}

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

int cmd_set(const char *line)
{
    const arg_words words(line);
    if (words.argc != 2 && words.argc != 3) {
        puts("error command, please use:set path [value]\r");
        return 0;
    }
    const heap_text path = resolve_operand(words.argv[1]);
    if (!path || !can_set(path.get(), words.argv[1]))
        return 0;
    if (stage_set(path.get(), words.argc == 3 ? words.argv[2] : nullptr) != 0)
        puts("add cmd error!\r");
    return 0;
}

int cmd_delete(const char *line)
{
    if (session.rpc_path != nullptr) {
        puts("current mode not support del cmd\r");
        return 0;
    }
    const arg_words words(line);
    if (words.argc != 2 && words.argc != 3) {
        puts("error command, please use:delete path\r");
        return 0;
    }
    const char *value = words.argc == 3 ? words.argv[2] : nullptr;
    const heap_text path = resolve_operand(words.argv[1]);
    if (!path)
        return 0;
    if (session.oneshot != 0) {
        record_command("delete", path.get(), nullptr);
        return 0;
    }
    if (!can_delete(path.get(), words.argv[1], value))
        return 0;
    if (tree_stage_config(path.get(), value, operation_delete) != 0)
        puts("delete cmd error!\r");
    else
        forget_deleted_entries(path.get());
    return 0;
}

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
