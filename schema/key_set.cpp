#include "schema/key_set.h"

#include <stdlib.h>
#include <string.h>

#include "base/growing_array.h"
#include "base/log.h"
#include "schema/masking.h"

namespace
{

std::string_view without_prefix(std::string_view name)
{
    const size_t colon = name.find(':');
    return colon == std::string_view::npos ? name : text_slice(name, colon + 1);
}

int compare_names(const char *a, const char *b)
{
    const int order = without_prefix(a).compare(without_prefix(b));
    return order != 0 ? order : strcmp(a, b);
}

int compare_key_names(const void *a, const void *b)
{
    return compare_names(*static_cast<char *const *>(a), *static_cast<char *const *>(b));
}

int compare_key_values(const void *a, const void *b)
{
    return compare_names(static_cast<const key_value *>(a)->key,
                         static_cast<const key_value *>(b)->key);
}

int compare_names_in_list(const void *a, const void *b)
{
    return strcmp(static_cast<const key_value *>(a)->name, static_cast<const key_value *>(b)->name);
}

// Gives each key its name in the list; 0, or -1 when they are not the list's.
int name_keys(key_value_set *set, const key_names *names)
{
    for (size_t i = 0; i < names->count; i++) {
        if (!same_key(set->pair[i].key, names->name[i])) {
            log_debug("[DEBUG] invalid key:%s\n", shown_text(set->pair[i].key).get());
            return -1;
        }
        set->pair[i].name = names->name[i];
    }
    return 0;
}

heap_text write_entry_name(std::string_view list, const key_value_set *set)
{
    text_buffer name;
    if (text_append(&name, list) != 0)
        return nullptr;
    for (size_t i = 0; i < set->count; i++) {
        const key_value &pair = set->pair[i];
        if (text_append_all(&name, {i == 0 ? "[" : ",", pair.name, "=", pair.value}) != 0)
            return nullptr;
    }
    return text_append(&name, "]") == 0 ? std::move(name.data) : nullptr;
}

} // namespace

bool same_key(std::string_view a, std::string_view b)
{
    return a == b || without_prefix(a) == b || a == without_prefix(b);
}

key_names::~key_names()
{
    for (size_t i = 0; i < count; i++)
        free(name[i]);
    free(name);
}

key_value_set::~key_value_set()
{
    for (size_t i = 0; i < count; i++) {
        free(pair[i].key);
        text_free(pair[i].value);
    }
    free(pair);
}

int key_names_add(key_names *names, std::string_view name)
{
    heap_text copy = text_copy(name);
    void *grown = copy
                      ? array_make_room(names->name, names->count, &names->capacity, sizeof(char *))
                      : nullptr;
    if (grown == nullptr)
        return -1;
    names->name = static_cast<char **>(grown);
    names->name[names->count++] = copy.release();
    return 0;
}

int key_values_add(key_value_set *set, std::string_view key, std::string_view value)
{
    if (set->count == set->limit) {
        log_debug("[DEBUG] kvs is full\n");
        return -1;
    }
    heap_text key_copy = text_copy(key);
    heap_text value_copy = text_copy(value);
    if (!key_copy || !value_copy)
        return -1;
    void *grown = array_make_room(set->pair, set->count, &set->capacity, sizeof(key_value));
    if (grown == nullptr)
        return -1;
    set->pair = static_cast<key_value *>(grown);
    set->pair[set->count++] = {key_copy.release(), value_copy.release(), nullptr};
    return 0;
}

heap_text entry_name(std::string_view list, key_value_set *set, key_names *names)
{
    if (set->count != names->count) {
        log_debug("[DEBUG] expect %d kvs but %d in fact\n", static_cast<int>(names->count),
                  static_cast<int>(set->count));
        return nullptr;
    }
    if (names->count == 0)
        return nullptr;
    // A prefix may stand on one side only, so the names after it decide which
    // key is which.
    qsort(names->name, names->count, sizeof(char *), compare_key_names);
    qsort(set->pair, set->count, sizeof(key_value), compare_key_values);
    if (name_keys(set, names) != 0)
        return nullptr;
    qsort(set->pair, set->count, sizeof(key_value), compare_names_in_list);
    return write_entry_name(list, set);
}
