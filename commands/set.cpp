// The command set.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "commands/operand.h"
#include "commands/staging.h"

namespace
{

bool can_set(place &at, char *operand)
{
    if (!at.record) {
        print_error_parameter(operand);
        return false;
    }
    if (!place_is_config(at) || !place_takes_value(at)) {
        print_not_config_node(at.path.get());
        return false;
    }
    return true;
}

} // namespace

int cmd_set(const char *line)
{
    const arg_words words(line);
    if (words.argc != 2 && words.argc != 3) {
        puts("error command, please use:set path [value]\r");
        return 0;
    }
    place at = resolve_operand(words.argv[1]);
    if (!at.schema_path || !can_set(at, words.argv[1]))
        return 0;
    if (stage_change(operation_set, at, words.argc == 3 ? words.argv[2] : nullptr) != 0)
        puts("add cmd error!\r");
    return 0;
}
