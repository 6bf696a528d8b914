#include "commands/operand.h"

#include <stdio.h>

#include "schema/masking.h"

place resolve_operand(char *operand)
{
    place at = place_within_rpc(operand);
    if (!at.schema_path)
        print_error_parameter(operand);
    return at;
}

void print_error_parameter(char *operand)
{
    unmask_all(operand);
    printf("error parameter: %s\r\n", operand);
}

void print_not_config_node(char *path)
{
    unmask_all(path);
    printf("%s's not config node.\r\n", path);
}
