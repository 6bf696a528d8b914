// A copy-config to running, and what is copied.
//
// Only one that can be told as an edit is read as such: with nothing in it but a
// target and a source, which is a configuration or the startup datastore, and no attributes on
// its source.
#pragma once

#include <string_view>

#include "device/gateway/configuration.h"

// The parts of a copy-config to running.
struct running_copy {
    bool from_startup; // the source is the startup datastore; else config is
    xml_element copy;  // its namespace is known to be the base one, and not kept
};

// Whether the request is a copy-config to running from a configuration of its
// own or from startup. What comes after a configuration that is beyond a limit is not read.
bool running_copy_read(std::string_view request, running_copy *copy);

// The same, and reads the configuration that is copied, if it is not startup. Null on success;
// otherwise what is in the way, a static text.
const char *running_copy_read_all(std::string_view request, running_copy *copy,
                                  configuration *config);
