// Replaces the schema in the database by compiled modules.
#pragma once

#include "device/schemac/options.h"
#include "device/schemac/requests.h"

// Compiles the modules, replaces the database by them and the digest of their
// origin, and prints what it holds. When that fails, prints what failed with all
// of them and then every module that fails by itself. With keep-going those that
// can be compiled are stored all the same. Returns the exit status.
int compile_and_store(const schemac_options *options, source_index *index,
                      const std::vector<module_request> &requests, const std::string &origin);
