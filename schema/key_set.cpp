#include "schema/key_set.h"

#include <stdlib.h>
#include <string.h>

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

// A key under the name that the list has for it.
struct named_value {
    const char *name;
    const char *value;
};

int compare_named_values(const void *a, const void *b)
{
    return strcmp(static_cast<const named_value *>(a)->name,
                  static_cast<const named_value *>(b)->name);
}

int check_keys(const key_value_set *set, const key_names *names)
{
    for (size_t i = 0; i < names->count; i++) {
        if (!same_key(set->pair[i].key, names->name[i])) {
            log_debug("[DEBUG] invalid key:%s\n", shown_text(set->pair[i].key).get());
            return -1;
        }
    }
    return 0;
}

// The pairs of a set that holds the keys of the list, in the order in which
// they are written.
malloc_ptr<named_value> values_by_name(const key_value_set *set, const key_names *names)
{
    malloc_ptr<named_value> values(
        static_cast<named_value *>(calloc(names->count, sizeof(named_value))));
    if (!values)
        return nullptr;
    for (size_t i = 0; i < names->count; i++)
        values.get()[i] = {names->name[i], set->pair[i].value};
    qsort(values.get(), names->count, sizeof(named_value), compare_named_values);
    return values;
}

heap_text write_entry_name(std::string_view list, const named_value *values, size_t count)
{
    text_buffer name;
    if (text_append(&name, list) != 0)
        return nullptr;
    for (size_t i = 0; i < count; i++) {
        if (text_append_all(&name, {i == 0 ? "[" : ",", values[i].name, "=", values[i].value}) != 0)
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
        text_wipe(pair[i].value);
        free(pair[i].value);
    }
    free(pair);
}

int key_names_create(key_names *names, size_t count)
{
    size_t slots = 0; // one more, because there may be none
    if (!size_add(count, 1, &slots))
        return -1;
    names->name = static_cast<char **>(calloc(slots, sizeof(char *)));
    if (names->name == nullptr)
        return -1;
    names->count = count;
    return 0;
}

int key_values_create(key_value_set *set, size_t capacity)
{
    size_t slots = 0; // one more, because there may be none
    if (!size_add(capacity, 1, &slots))
        return -1;
    set->pair = static_cast<key_value *>(calloc(slots, sizeof(key_value)));
    if (set->pair == nullptr)
        return -1;
    set->capacity = capacity;
    return 0;
}

int key_names_set(key_names *names, size_t slot, std::string_view name)
{
    names->name[slot] = text_copy(name).release();
    return names->name[slot] != nullptr ? 0 : -1;
}

int key_values_add(key_value_set *set, std::string_view key, std::string_view value)
{
    if (set->count == set->capacity) {
        log_debug("[DEBUG] kvs is full\n");
        return -1;
    }
    heap_text key_copy = text_copy(key);
    heap_text value_copy = text_copy(value);
    if (!key_copy || !value_copy)
        return -1;
    set->pair[set->count++] = {key_copy.release(), value_copy.release()};
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
    if (check_keys(set, names) != 0)
        return nullptr;
    const malloc_ptr<named_value> values = values_by_name(set, names);
    return values ? write_entry_name(list, values.get(), names->count) : nullptr;
}
