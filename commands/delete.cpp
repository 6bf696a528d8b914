// The command delete.
#include "commands/commands.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/session.h"
#include "browse/descendants.h"
#include "commands/operand.h"
#include "commands/staging.h"
#include "schema/command_reads.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

// Whether the node is listed where the operator sees it. What stands beside one that is
// listed by the schema alone, without choices, is so, too, and the next lines need not seek it.
bool is_listed(const place &at)
{
    const char *name = path_last_component(at.path.get());
    const std::string_view path = at.schema_path.get();
    command_reads *reads = strchr(name, '[') == nullptr ? session.reads : nullptr;
    if (reads != nullptr && reads->lists_all != nullptr && at.record &&
        text_slice(path, 0, path.rfind('/')) == reads->lists_all)
        return true;
    const place parent = place_listing_parent(at);
    descendant_set children;
    if (!parent.path || descendants_of(parent, &children) != 0 ||
        !descendants_reach(&children, name))
        return false;
    if (reads != nullptr && children.choices == nullptr)
        text_replace(&reads->lists_all, text_copy(parent.schema_path.get()));
    return true;
}

bool can_delete(place &at, char *operand, const char *value)
{
    if (!is_listed(at)) {
        unmask_all(operand);
        printf("error: child node:%s  is not existed.\r\n", operand);
        return false;
    }
    if (path_levels(at.path.get()) == 1 || !at.record) {
        print_error_parameter(operand);
        return false;
    }
    if (!place_is_config(at)) {
        print_not_config_node(at.path.get());
        return false;
    }
    if (value != nullptr && place_kind(at) != node_kind_leaf_list) {
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
    place at = resolve_operand(words.argv[1]);
    // What a profile holds is not there to be looked at: such a delete is taken as it is.
    if (!at.schema_path || (session.oneshot == 0 && !can_delete(at, words.argv[1], value)))
        return 0;
    if (stage_change(operation_delete, at, value) != 0)
        puts("delete cmd error!\r");
    return 0;
}
