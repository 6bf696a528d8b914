// The command help, and the version banner.
#ifndef VANDEL_SHELL_HELP_H
#define VANDEL_SHELL_HELP_H

// Prints all commands or one of them. Cuts the line behind its second word, so
// the line must be writable although handlers are given it as const. Returns 0.
int cmd_help(const char *line);

// Prints version and build time.
void version_print();

#endif
