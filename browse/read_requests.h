// The NETCONF requests that read: get and get-config with a subtree filter.
//
// A request is a text of less than 4096 bytes, after frame_room (link/exchange.h); a longer one is
// refused. A buffer without data is returned then, when the filter cannot be built
// (logged), and when memory runs out; the request has taken its message id all
// the same. Paths are masked.
#pragma once

#include "base/text.h"
#include "schema/key_set.h"

enum read_source {
    read_source_running,
    read_source_startup,
};

// Configuration and state below a path.
text_buffer build_get(const char *path);

// Configuration below a path.
text_buffer build_get_config(const char *path, read_source source);

// The keys of all entries of a list in the running datastore.
text_buffer build_get_list_keys(const char *list_path, const key_names *keys);
