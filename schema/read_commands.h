// The commands get and get-config.
//
// Handlers take the command line from the command word on, report failures to
// the operator, and return 0.
#ifndef VANDEL_SCHEMA_READ_COMMANDS_H
#define VANDEL_SCHEMA_READ_COMMANDS_H

int cmd_get(const char *line);
int cmd_get_config(const char *line);

#endif
