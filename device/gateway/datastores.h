// Which datastores a request is about: what stands in its target and in its source.
#pragma once

#include <stddef.h>
#include <string_view>

#include "device/gateway/byte_buffer.h"

// Where one is named. Parts of the request; the name is empty when there is none.
struct datastore_name {
    std::string_view name;
    std::string_view prefix; // with its colon
    size_t from;             // where its element begins ...
    size_t end;              // ... and ends
};

struct request_datastores {
    datastore_name target;
    datastore_name source;
};

// Puts another datastore in the place of one that was read. 0, or -1: out of memory.
int datastore_replace(byte_buffer *request, const datastore_name *old, std::string_view name);

// Reads them up to a configuration, which may be long. What cannot be read is not there.
request_datastores request_datastores_read(std::string_view request);
