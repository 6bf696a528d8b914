#include "commands/refusals.h"

#include <stdio.h>

#include "schema/masking.h"

void print_error_parameter(char *argument)
{
    unmask_all(argument);
    printf("error parameter: %s\r\n", argument);
}

void print_not_config_node(char *path)
{
    unmask_all(path);
    printf("%s's not config node.\r\n", path);
}
