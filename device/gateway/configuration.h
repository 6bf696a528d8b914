// The nodes at the top of a configuration, sorted by name: what one name stands
// for (a container, a leaf, the entries of a list, the values of a leaf-list) is
// a group of entries, in the order of the text.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string_view>

#include "device/gateway/byte_buffer.h"
#include "device/gateway/content_marks.h"
#include "device/gateway/xml_walk.h"

// No configuration of a device has so many nodes at its top.
constexpr size_t config_entry_limit = size_t{1} << 20;

// What is in the way of one that is not well-formed, or beyond a limit.
constexpr char configuration_unreadable[] = "the configuration cannot be followed";

struct config_entry {
    xml_element element; // its namespace lives as long as the configuration's walk
    size_t key_from;     // its children that may be keys, among those of all entries
    size_t key_count;
    content_marks marks;
};

// A part of the text, which is a message of 256 MiB at most.
struct config_span {
    uint32_t from;
    uint32_t end;
};

// Value-initialise. Far too large for the stack.
struct configuration {
    xml_element parent;    // of the nodes at its top
    unsigned depth;        // of the parent
    byte_buffer inherited; // the attributes that declare what holds in the parent, innermost first
    bool has_operation;    // an entry says what an edit shall do with it
    byte_buffer entries;   // of config_entry
    byte_buffer keys;      // of config_span
    std::string_view last_uri; // the child of an entry that has just ended
    std::string_view last_local;
    bool last_is_key;
    config_entry current;
    marks_builder marks;
    xml_walk walk;
};

// The entries of one name on either side, where they stand among all and how many there are;
// a side may have none. Value-initialised: it stands before the first.
struct entry_group {
    const config_entry *running;
    size_t running_from;
    size_t running_count;
    const config_entry *source;
    size_t source_from;
    size_t source_count;
};

// For the events of config->walk: the current element has started, has text, or ends. It
// stands in the parent of the nodes at the top; the first that has started is that. The
// second is such an event itself, with the configuration for its context.
xml_step configuration_start(configuration *config);
xml_step configuration_text(void *context, const xml_walk *walk, std::string_view text);
xml_step configuration_end(configuration *config);

// Sorts the entries, after the walk.
void configuration_sort(configuration *config);

// Reads the data of a reply. Null on success; otherwise what is in the way, a
// static text.
const char *configuration_read_reply(configuration *config, std::string_view text);

const config_entry *configuration_entries(const configuration *config);
size_t configuration_count(const configuration *config);

// The children of an entry that may be keys, key_count of them: leafs of its own module
// that stand there once (equal ones are next to each other: a leaf-list).
const config_span *configuration_keys(const configuration *config, const config_entry *entry);

// Whether an attribute declares a namespace.
bool is_declaration(std::string_view attribute_name);

// Goes on to the next group, by name. False: there are no more.
bool entry_group_next(const configuration *running, const configuration *source,
                      entry_group *group);
