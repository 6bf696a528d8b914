// Shows what a schema database holds, to those who ask why a node is not there.
#ifndef VANDEL_SCHEMAC_INSPECT_H
#define VANDEL_SCHEMAC_INSPECT_H

#include "device/schemac/options.h"

// Prints the modules: revision, nodes, bytes, features. Returns the exit status.
int inspect_list(const schemac_options *options);

// Prints the node that the options name and its children, or the tree below it.
// Returns the exit status.
int inspect_show(const schemac_options *options);

#endif
