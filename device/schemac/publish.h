// Replaces what the schema database holds.
#ifndef VANDEL_SCHEMAC_PUBLISH_H
#define VANDEL_SCHEMAC_PUBLISH_H

#include <string>

#include "device/schemac/content.h"
#include "platform/redis_endpoint.h"

// Called with how many bytes of how many have been sent.
using publish_watch = void (*)(size_t done, size_t total);

// Empties database 4 and fills it in one transaction: readers see the old
// content or the new. Returns 0, or -1 with the cause in message; the database
// is then as it was before.
int publish_content(const redis_endpoint *endpoint, const schema_content *content,
                    publish_watch watch, std::string *message);

#endif
