// The keys of a list entry, and the entry name built from them.
//
// Both records own their texts and free them at the end of their scope.
#ifndef VANDEL_SCHEMA_KEY_SET_H
#define VANDEL_SCHEMA_KEY_SET_H

#include <stddef.h>
#include <string_view>

#include "base/text.h"

// Names of the key leaves of a list.
struct key_names {
    size_t count = 0;
    char **name = nullptr;

    key_names() = default;
    ~key_names();
    key_names(const key_names &) = delete;
    key_names &operator=(const key_names &) = delete;
};

struct key_value {
    char *key;
    char *value;
};

// A fixed number of slots for key and value, filled from the first on.
struct key_value_set {
    size_t capacity = 0;
    size_t count = 0;
    key_value *pair = nullptr;

    key_value_set() = default;
    ~key_value_set();
    key_value_set(const key_value_set &) = delete;
    key_value_set &operator=(const key_value_set &) = delete;
};

// Makes room for count names or pairs in a record that was never used; 0 or -1.
int key_names_create(key_names *names, size_t count);
int key_values_create(key_value_set *set, size_t capacity);

// Copies a name into a slot; 0 or -1.
int key_names_set(key_names *names, size_t slot, std::string_view name);

// Copies a pair into the first empty slot; 0, or -1 when there is none (logged)
// or memory runs out.
int key_values_add(key_value_set *set, std::string_view key, std::string_view value);

// Whether two names are those of one key, of which either may lack its module
// prefix.
bool same_key(std::string_view a, std::string_view b);

// The name list[k1=v1,k2=v2] of the entry whose keys the set holds, keys in
// the order of the names. A key may carry a module prefix in the set or among
// the names, which are written as they stand.
// Sorts both. Null when the keys are not those of the list (logged), when the
// list has none, and when memory runs out.
heap_text entry_name(std::string_view list, key_value_set *set, key_names *names);

#endif
