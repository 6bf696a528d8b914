// Which datastores a request is about: what stands in its target and in its source.
#pragma once

#include <stddef.h>
#include <string_view>

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

// Reads them up to a configuration, which may be long. What cannot be read is not there.
request_datastores request_datastores_read(std::string_view request);
