// Writes a compiled schema as the hashes of the schema database.
#ifndef VANDEL_SCHEMAC_SCHEMA_WRITER_H
#define VANDEL_SCHEMAC_SCHEMA_WRITER_H

#include <stdint.h>

#include "device/schemac/compile.h"
#include "device/schemac/content.h"

// Called with the number of nodes that have been written.
using write_watch = void (*)(uint64_t nodes);

// Writes all modules of the context that an operator can meet: of those that were
// asked for, or became part of the schema with them, the ones that define or
// augment anything, and those whose identities may be values.
schema_content write_schema(const ly_ctx *context, const std::vector<module_request> &requests,
                            write_watch watch);

#endif
