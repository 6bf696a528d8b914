// Replaces what the schema database holds.
#pragma once

#include <string>

#include "device/schemac/content.h"
#include "platform/redis_endpoint.h"

// Makes database 4 hold what is told, and nothing else. Little is replaced in one
// transaction, much in several, between which there is no root. Returns 0, or -1
// with the cause in message; the database is then as it was before, or has no root.
int publish_content(const redis_endpoint *endpoint, const content_teller &tell,
                    std::string *message);
