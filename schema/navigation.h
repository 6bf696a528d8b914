// The commands cd, ls and pwd.
//
// Handlers take the command line from the command word on, report failures to
// the operator, and return 0.
#ifndef VANDEL_SCHEMA_NAVIGATION_H
#define VANDEL_SCHEMA_NAVIGATION_H

int cmd_cd(const char *line);
int cmd_ls(const char *line);
int cmd_pwd(const char *line);

#endif
