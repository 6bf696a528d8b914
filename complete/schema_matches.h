// Completion of a schema path: the children of the node that the typed
// directory names, as far as they begin with the typed last component.
#pragma once

#include <stddef.h>
#include <string_view>

#include "complete/match_list.h"
#include "schema/records.h"

struct tinyrl;

// Where in a typed path its last component begins, the part that completion
// replaces. A "/" inside a key value does not count; when the value is not
// finished, the whole word is one component. 0, or -1 when memory runs out.
int last_component_offset(std::string_view word, size_t *offset);

// Fills an empty list with what the word from word_start to the cursor may
// become: the names of children, unmasked, with a "/" at the end but for a leaf or
// leaf-list, and the schema's help. The list stays empty for a path that leads
// nowhere, for one whose only "/" is its first character, and when memory runs out
// (logged).
void get_match(const tinyrl *editor, size_t word_start, match_list *list);

// Appends a child with this unmasked name if it begins with prefix; 0, or -1
// when memory runs out (logged).
int aug_option_add_match(match_list *list, std::string_view prefix, const char *name,
                         const schema_record *record);
