// Runs the compiler in a process of its own.
//
// YANG texts come from anywhere, and a text can be written so that compiling it
// exhausts the stack, the memory or the patience of whoever compiles it. The
// compiler therefore works in a child with limits, and all that can happen to
// it is an error like any other.
#ifndef VANDEL_SCHEMAC_WORKER_H
#define VANDEL_SCHEMAC_WORKER_H

#include "device/schemac/options.h"
#include "device/schemac/schema_writer.h"

// Compiles what the options name into the spool behind the descriptor, and
// shows progress meanwhile. Returns 0 with the counts, or -1 after the errors
// have been printed.
int run_worker(const schemac_options *options, int spool_descriptor, schema_counts *counts);

#endif
