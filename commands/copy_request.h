// The copy-config request.
#pragma once

#include <stddef.h>

#include "base/text.h"

enum datastore {
    datastore_candidate = 0,
    datastore_running = 1,
    datastore_startup = 2,
    datastore_config = 3, // configuration given in the request itself
    datastore_url = 4,
    datastore_none = 5,
};

// The code of a word: a name above, any other word a url, null none.
datastore datastore_code(const char *word);

// Whether a word names a datastore that exports and imports know.
bool is_stored_datastore(const char *word);

// The request takes this much at most besides a configuration and two words.
constexpr size_t copy_config_room = 512;

// Copies a datastore: sends the request, prints the reply, reports failures.
// The source "config" is the staged configuration, which is dropped with it, when
// `config` is null, and otherwise the text in this buffer, which the request takes
// over; with room for the rest of it, nothing is copied.
void copy_config(const char *source, text_buffer *config, const char *target);
