#include "commands/operand.h"

#include "commands/refusals.h"

place resolve_operand(char *operand)
{
    place at = place_within_rpc(operand);
    if (!at.schema_path)
        print_error_parameter(operand);
    return at;
}
