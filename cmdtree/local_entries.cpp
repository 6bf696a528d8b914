#include "cmdtree/local_entries.h"

#include <search.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "base/session.h"
#include "base/text.h"
#include "bounded.h"
#include "schema/masking.h"

namespace
{

// A node with its text after it; null when memory runs out.
template <class Node>
malloc_ptr<Node> make_node(std::string_view text)
{
    size_t size = 0;
    if (!size_add(sizeof(Node) + 1, text.size(), &size))
        return nullptr;
    malloc_ptr<Node> node(static_cast<Node *>(calloc(1, size)));
    if (node)
        memcpy_s(node.get() + 1, text.size(), text.data(), text.size());
    return node;
}

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

// In the index, what lies below a path follows it at once: the end of a text comes
// first, "/" after it, then all other bytes.
int rank_at(std::string_view text, size_t at)
{
    if (at == text.size())
        return 0;
    return text[at] == '/' ? 1 : 2 + static_cast<unsigned char>(text[at]);
}

// Where two texts part.
size_t parting(std::string_view a, std::string_view b)
{
    size_t at = 0;
    while (at < a.size() && at < b.size() && a[at] == b[at])
        at++;
    return at;
}

int compare_path(const void *sought, const void *record)
{
    const std::string_view path = *static_cast<const std::string_view *>(sought);
    const std::string_view own = static_cast<const list_record *>(record)->path;
    const size_t at = parting(path, own);
    return rank_at(path, at) - rank_at(own, at);
}

int compare_records(const void *a, const void *b)
{
    const std::string_view path = static_cast<const list_record *>(a)->path;
    return compare_path(&path, b);
}

// All that lies below the path is the same to it.
int compare_below(const void *sought, const void *record)
{
    const std::string_view path = *static_cast<const std::string_view *>(sought);
    const std::string_view own = static_cast<const list_record *>(record)->path;
    if (own.size() > path.size() && text_starts_with(own, path) && own[path.size()] == '/')
        return 0;
    return own == path ? 1 : compare_path(sought, record);
}

int compare_key(const void *sought, const void *entry)
{
    return strcmp(static_cast<const char *>(sought), static_cast<const list_entry *>(entry)->key);
}

int compare_entries(const void *a, const void *b)
{
    return compare_key(static_cast<const list_entry *>(a)->key, b);
}

// What an index holds by one of these orders; null for nothing.
template <class Node>
Node *find(const void *sought, void *index, int (*compare)(const void *, const void *))
{
    void *const *found = static_cast<void *const *>(tfind(sought, &index, compare));
    return found != nullptr ? static_cast<Node *>(*found) : nullptr;
}

list_record *find_record(std::string_view list_path)
{
    return find<list_record>(&list_path, session.entry_index, compare_path);
}

list_entry *find_entry(const list_record *record, const char *key)
{
    return find<list_entry>(key, record->index, compare_key);
}

list_record *add_record(const char *list_path)
{
    auto record = make_node<list_record>(list_path);
    if (!record || tsearch(record.get(), &session.entry_index, compare_records) == nullptr)
        return nullptr;
    link_at_head(session.entries, record.get());
    return record.release();
}

void free_entry(list_record *record, list_entry *entry)
{
    tdelete(entry, &record->index, compare_entries);
    unlink_node(entry);
    free(entry);
}

void free_record(list_record *record)
{
    tdestroy(record->index, [](void *) {});
    for (list_entry *entry = record->entries; entry != nullptr;) {
        list_entry *next = entry->next;
        free(entry);
        entry = next;
    }
    tdelete(record, &session.entry_index, compare_records);
    unlink_node(record);
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

list_record *find_below(std::string_view path)
{
    return find<list_record>(&path, session.entry_index, compare_below);
}

// The first record in store order that matches and holds the key; null for none.
list_record *find_holder(std::string_view path, const char *key)
{
    list_record *record = find_record(path);
    // Lists stand below the entries of a list, not below the list; a profile may say otherwise.
    if (!path.empty() && find_below(path) == nullptr)
        return record;
    record = *session.entries;
    while (record != nullptr &&
           (!record_matches(record, path) || find_entry(record, key) == nullptr))
        record = record->next;
    return record;
}

void forget_entry(std::string_view path, const char *key)
{
    list_record *record = find_holder(path, key);
    list_entry *entry = record != nullptr ? find_entry(record, key) : nullptr;
    if (entry != nullptr)
        free_entry(record, entry);
}

void forget_lists(std::string_view path)
{
    if (path.empty()) {
        while (*session.entries != nullptr)
            free_record(*session.entries);
        return;
    }
    list_record *record = find_record(path);
    if (record != nullptr)
        free_record(record);
    while ((record = find_below(path)) != nullptr)
        free_record(record);
}

void forget(std::string_view path, const char *key)
{
    if (session.entries == nullptr)
        return;
    if (key != nullptr)
        forget_entry(path, key);
    else
        forget_lists(path);
}

} // namespace

int local_entries_has(const char *list_path, const char *key)
{
    const list_record *record = find_record(list_path);
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
    auto entry = record != nullptr ? make_node<list_entry>(key) : nullptr;
    void *const *held =
        entry ? static_cast<void *const *>(tsearch(entry.get(), &record->index, compare_entries))
              : nullptr;
    if (held == nullptr)
        return -1;
    if (*held == entry.get())
        link_at_head(&record->entries, entry.release());
    return 0;
}

void local_entries_forget(const char *path, const char *key)
{
    forget(path != nullptr ? path : "", key);
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
    forget({path, static_cast<size_t>(predicate - path)}, slash + 1);
}
