#include "cmdtree/local_entries.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/session.h"
#include "base/text.h"
#include "schema/masking.h"

namespace
{

template <class Node>
void link_at_head(Node **head, Node *node)
{
    node->next = *head;
    node->pprev = head;
    if (*head != nullptr)
        (*head)->pprev = &node->next;
    *head = node;
}

template <class Node>
void unlink_node(Node *node)
{
    *node->pprev = node->next;
    if (node->next != nullptr)
        node->next->pprev = node->pprev;
}

list_record *find_record(const char *list_path)
{
    if (session.entries == nullptr)
        return nullptr;
    list_record *record = *session.entries;
    while (record != nullptr && strcmp(record->path, list_path) != 0)
        record = record->next;
    return record;
}

list_entry *find_entry(list_record *record, const char *key)
{
    list_entry *entry = record->entries;
    while (entry != nullptr && strcmp(entry->key, key) != 0)
        entry = entry->next;
    return entry;
}

list_record *add_record(const char *list_path)
{
    malloc_ptr<list_record> record(static_cast<list_record *>(calloc(1, sizeof(list_record))));
    heap_text path = text_copy(list_path);
    if (!record || !path)
        return nullptr;
    record->path = path.release();
    link_at_head(session.entries, record.get());
    return record.release();
}

void free_entry(list_entry *entry)
{
    unlink_node(entry);
    free(entry->key);
    free(entry);
}

void free_record(list_record *record)
{
    for (list_entry *entry = record->entries; entry != nullptr;) {
        list_entry *next = entry->next;
        free(entry->key);
        free(entry);
        entry = next;
    }
    unlink_node(record);
    free(record->path);
    free(record);
}

// Whether the record's list is the node at path or lies below it; the empty
// path has everything below it.
bool record_matches(const list_record *record, std::string_view path)
{
    const std::string_view own = record->path;
    return path.empty() ||
           (text_starts_with(own, path) && (own.size() == path.size() || own[path.size()] == '/'));
}

void forget_below(std::string_view path, const char *key)
{
    list_record *next = nullptr;
    list_record *record = session.entries != nullptr ? *session.entries : nullptr;
    for (; record != nullptr; record = next) {
        next = record->next;
        if (!record_matches(record, path))
            continue;
        if (key == nullptr) {
            free_record(record);
            continue;
        }
        list_entry *entry = find_entry(record, key);
        if (entry != nullptr) {
            free_entry(entry);
            return;
        }
    }
}

} // namespace

int local_entries_has(const char *list_path, const char *key)
{
    list_record *record = find_record(list_path);
    return record != nullptr && find_entry(record, key) != nullptr ? 1 : 0;
}

int local_entries_add(const char *list_path, const char *key)
{
    if (session.entries == nullptr) {
        session.entries = static_cast<list_record **>(calloc(1, sizeof(list_record *)));
        if (session.entries == nullptr)
            return -1;
    }
    list_record *record = find_record(list_path);
    if (record == nullptr)
        record = add_record(list_path);
    if (record == nullptr)
        return -1;
    if (find_entry(record, key) != nullptr)
        return 0;
    malloc_ptr<list_entry> entry(static_cast<list_entry *>(calloc(1, sizeof(list_entry))));
    heap_text copy = text_copy(key);
    if (!entry || !copy)
        return -1;
    entry->key = copy.release();
    link_at_head(&record->entries, entry.release());
    return 0;
}

void local_entries_forget(const char *path, const char *key)
{
    forget_below(path != nullptr ? path : "", key);
    if (path == nullptr && key == nullptr) {
        free(session.entries);
        session.entries = nullptr;
    }
}

void local_entries_forget_deleted(const char *path)
{
    const char *predicate = strrchr(path, '[');
    if (predicate == nullptr) {
        local_entries_forget(path, nullptr);
        return;
    }
    const char *slash = strrchr(path, '/');
    if (slash == nullptr) {
        printf("delete cmdpath err %s!\r\n", shown_text(path).get());
        return;
    }
    const std::string_view list_path(path, static_cast<size_t>(predicate - path));
    forget_below(list_path, slash + 1);
}
