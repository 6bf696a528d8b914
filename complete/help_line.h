// Lines of a '?' listing: a name in a column of its own, and what it stands for.
#ifndef VANDEL_COMPLETE_HELP_LINE_H
#define VANDEL_COMPLETE_HELP_LINE_H

#include <stddef.h>

struct tinyrl;

// Writes "  name    help", both as tinyrl_print_safe shows them, with the name
// padded to width; null is no help.
void help_line_print(tinyrl *editor, size_t width, const char *name, const char *help);

// A width in bytes as printf takes it.
int print_width(size_t width);

#endif
