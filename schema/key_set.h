// The keys of a list entry, and the entry name built from them.
//
// Both records own their texts and free them at the end of their scope.
#pragma once

#include <stddef.h>
#include <string_view>

#include "base/text.h"

// Names of the key leaves of a list.
struct key_names {
    size_t count = 0;
    size_t capacity = 0;
    char **name = nullptr;

    key_names() = default;
    ~key_names();
    key_names(const key_names &) = delete;
    key_names &operator=(const key_names &) = delete;
};

struct key_value {
    char *key;
    char *value;
    const char *name; // the key's name in the list, once entry_name has looked for it
};

// At most `limit` keys with their values.
struct key_value_set {
    size_t limit;
    size_t count = 0;
    size_t capacity = 0;
    key_value *pair = nullptr;

    explicit key_value_set(size_t most) : limit(most) {}
    ~key_value_set();
    key_value_set(const key_value_set &) = delete;
    key_value_set &operator=(const key_value_set &) = delete;
};

// Adds a copy of a name; 0, or -1 when memory runs out.
int key_names_add(key_names *names, std::string_view name);

// Adds a copy of a pair; 0, or -1 when the set is full (logged) or memory runs out.
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
