// Writes a compiled schema as the hashes of the schema database.
#pragma once

#include <stdint.h>

#include "device/schemac/compile.h"
#include "device/schemac/content.h"

// How far it is.
struct write_progress {
    const char *module; // that is written
    uint32_t number;    // of the module, from 1
    uint32_t count;     // of modules
    uint64_t nodes;     // that have been written
    uint64_t bytes;     // of keys, field names and values
};
using write_watch = void (*)(const write_progress &progress);

struct schema_counts {
    uint64_t modules;
    uint64_t empty_modules; // left out, because nothing of them can be met
    uint64_t nodes;
    uint64_t bytes; // of keys, field names and values
};

// Hands on the hashes of all modules of the context that an operator can meet: of
// those that were asked for, or became part of the schema with them, the ones that
// define or augment anything, and those whose identities may be values. A hash comes
// after all that are below it, the root last. With values
// the watch is called at each node.
schema_counts write_schema(const ly_ctx *context, const std::vector<module_request> &requests,
                           content_depth depth, const hash_sink &sink, write_watch watch);
