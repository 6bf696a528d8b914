// What a schema is made from, to find out whether that has changed.
#pragma once

#include <string>

#include "device/schemac/content.h"
#include "device/schemac/options.h"
#include "device/schemac/requests.h"

// The digest of all that decides what is stored: the version of this program, the
// modules and features that are asked for, and the texts of these modules and of
// all that they import or include. They are read for it.
std::string origin_digest(const schemac_options *options, source_index *index,
                          const std::vector<module_request> &requests, const char *version);

// Whether the database says that it was made from this. False as well when it
// cannot be asked: whoever stores then finds out why.
bool origin_is_stored(const redis_endpoint *endpoint, const std::string &digest);

// Hands on the note that makes origin_is_stored true.
void origin_tell(const std::string &digest, const hash_sink &sink);
