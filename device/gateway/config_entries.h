// The nodes at the top of a configuration, sorted by name: what one name stands
// for (a container, a leaf, the entries of a list, the values of a leaf-list) is
// a group of entries, in the order of the text.
#ifndef VANDEL_GATEWAY_CONFIG_ENTRIES_H
#define VANDEL_GATEWAY_CONFIG_ENTRIES_H

#include <memory>
#include <stddef.h>
#include <string_view>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/content_marks.h"
#include "device/gateway/xml_scan.h"

// Names are parts of the text.
struct config_entry {
    std::string_view uri;
    std::string_view local;
    size_t from; // where its start tag begins
    size_t end;  // behind its end
    content_marks marks;
};

// All zero: there are none.
struct config_entries {
    malloc_ptr<config_entry> list;
    size_t count;
};

// The entries of one name on either side; a side may have none.
struct entry_group {
    const config_entry *running;
    size_t running_count;
    const config_entry *source;
    size_t source_count;
};

// Where a walk through the groups of two sides stands; begins with zero.
struct group_walk {
    size_t running_at;
    size_t source_at;
};

// Reads the children of parent, an element of text. Null on success; otherwise
// what is in the way, a static text.
const char *config_entries_read(std::string_view text, const xml_element *parent,
                                config_entries *entries);

// Gives the next group, by name. False: there are no more.
bool group_walk_next(const config_entries *running, const config_entries *source, group_walk *walk,
                     entry_group *group);

#endif
