// Replaces the schema database by the contents of a spool.
#ifndef VANDEL_SCHEMAC_PUBLISH_H
#define VANDEL_SCHEMAC_PUBLISH_H

#include <string>

#include "device/schemac/spool.h"
#include "platform/redis_endpoint.h"

// Called with how much of how much has been sent.
using publish_watch = void (*)(size_t done, size_t total);

// Empties database 4 and fills it with the spool in one transaction: readers
// see the old contents or the new. Returns 0, or -1 with the cause in message;
// the database is then as it was before.
int publish_spool(const redis_endpoint *endpoint, spool_reader content, publish_watch watch,
                  std::string *message);

#endif
