// The command delete.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/session.h"
#include "browse/descendants.h"
#include "cmdtree/forget_entries.h"
#include "cmdtree/tree.h"
#include "commands/operand.h"
#include "commands/record_change.h"
#include "commands/refusals.h"
#include "schema/masking.h"
#include "schema/path.h"
#include "schema/schema_path.h"

namespace
{

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

} // namespace

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
