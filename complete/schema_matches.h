// Completion of a schema path: the children of the node that the typed
// directory names, as far as they begin with the typed last component.
#ifndef VANDEL_COMPLETE_SCHEMA_MATCHES_H
#define VANDEL_COMPLETE_SCHEMA_MATCHES_H

#include <stddef.h>
#include <string_view>

#include "schema/records.h"

struct tinyrl;

// One child, unmasked. Both texts are owned by the list.
struct schema_match {
    char *name;    // of a leaf or leaf-list; all others end in "/"
    char *help;    // null when the schema has none
    unsigned kind; // a node_kind
};

// entry is ended by one whose name is null, and null itself while the list is
// empty.
struct schema_match_list {
    schema_match *entry = nullptr;
    size_t count = 0;
    size_t capacity = 0; // slots of entry

    schema_match_list() = default;
    ~schema_match_list();
    schema_match_list(const schema_match_list &) = delete;
    schema_match_list &operator=(const schema_match_list &) = delete;
};

// Where in a typed path its last component begins, the part that completion
// replaces. A "/" inside a key value does not count; when the value is not
// finished, the whole word is one component. 0, or -1 when memory runs out.
int last_component_offset(std::string_view word, size_t *offset);

// Fills an empty list with what the word from word_start to the cursor may
// become. The list stays empty for a path that leads nowhere, for one whose
// only "/" is its first character, and when memory runs out (logged).
void get_match(const tinyrl *editor, size_t word_start, schema_match_list *list);

// Appends a child with this unmasked name if it begins with prefix; 0, or -1
// when memory runs out (logged).
int aug_option_add_match(schema_match_list *list, std::string_view prefix, const char *name,
                         const schema_record *record);

#endif
