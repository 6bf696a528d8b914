// Which datastores a request is about: what stands in its target and in its source.
#pragma once

#include <string_view>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/xml_walk.h"

// What stands there; of the base namespace, which is not kept. Its name is empty when there is
// nothing.
struct request_datastores {
    xml_element target;
    xml_element source;
};

// Puts another datastore in the place of one that was read. 0, or -1: out of memory.
int datastore_replace(byte_buffer *request, const xml_element *old, std::string_view name);

// Reads them up to a configuration, which may be long. What cannot be read is not there.
request_datastores request_datastores_read(std::string_view request);
