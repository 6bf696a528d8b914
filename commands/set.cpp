// The command set.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/session.h"
#include "cmdtree/tree.h"
#include "commands/operand.h"
#include "commands/record_change.h"
#include "commands/refusals.h"
#include "schema/schema_path.h"

namespace
{

bool is_leaf_or_leaf_list(const schema_record *record)
{
    const unsigned kind = record_kind(record);
    return kind == node_kind_leaf || kind == node_kind_leaf_list;
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
