// Compiles in a process of its own.
//
// YANG texts come from anywhere, and one can be written so that compiling it
// takes all the stack, the memory or the time there is, or finds a mistake of
// libyang's. So a child with limits does the work, and what becomes of it is an
// error like any other.
#ifndef VANDEL_SCHEMAC_WORKER_H
#define VANDEL_SCHEMAC_WORKER_H

#include "device/schemac/options.h"
#include "device/schemac/requests.h"

// Compiles the modules, replaces the database by them and the digest of their
// origin, and prints what it holds, with progress meanwhile. When that fails, names every module
// that fails by itself, or else what failed with all of them. Returns the exit status.
int compile_and_store(const schemac_options *options, source_index *index,
                      const std::vector<module_request> &requests, const std::string &origin);

#endif
