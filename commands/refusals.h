// Refusals that several commands share.
#ifndef VANDEL_COMMANDS_REFUSALS_H
#define VANDEL_COMMANDS_REFUSALS_H

// Each takes a masked text of the caller's and leaves it unmasked.

// The argument, as it was typed, names nothing that the command can use.
void print_error_parameter(char *argument);

// The node at the path is not configuration.
void print_not_config_node(char *path);

#endif
