#include "device/gateway/config_entries.h"

#include <stdlib.h>

namespace
{

int compare_names(const config_entry *one, const config_entry *other)
{
    const int order = one->local.compare(other->local);
    return order != 0 ? order : one->uri.compare(other->uri);
}

int compare_entries(const void *left, const void *right)
{
    const auto *one = static_cast<const config_entry *>(left);
    const auto *other = static_cast<const config_entry *>(right);
    const int order = compare_names(one, other);
    return order != 0 ? order : one->from < other->from ? -1 : one->from > other->from ? 1 : 0;
}

size_t count_children(xml_scan *scan, const xml_element *parent)
{
    size_t count = 0;
    xml_element child;
    while (xml_scan_child(scan, parent, &child)) {
        xml_scan_skip(scan, &child);
        count++;
    }
    return count;
}

bool read_entry(xml_scan *scan, const xml_element *node, config_entry *entry)
{
    *entry = {node->uri, node->local, node->from, 0, {}};
    const bool done = content_marks_read(scan, node, &entry->marks);
    entry->end = scan->at;
    return done;
}

// How many entries from at on have the name of that one.
size_t group_size(const config_entries *entries, size_t at)
{
    const config_entry *first = entries->list.get() + at;
    size_t size = 1;
    while (at + size < entries->count && compare_names(first, first + size) == 0)
        size++;
    return size;
}

} // namespace

const char *config_entries_read(std::string_view text, const xml_element *parent,
                                config_entries *entries)
{
    constexpr const char *unreadable = "the configuration cannot be followed";
    *entries = {};
    xml_scan scan{text, parent->content, false};
    const size_t count = count_children(&scan, parent);
    if (scan.failed)
        return unreadable;
    if (count == 0)
        return nullptr;
    entries->list.reset(static_cast<config_entry *>(calloc(count, sizeof(config_entry))));
    if (entries->list == nullptr)
        return "out of memory";
    config_entry *list = entries->list.get();
    scan = {text, parent->content, false};
    xml_element node;
    while (entries->count < count && xml_scan_child(&scan, parent, &node)) {
        if (!read_entry(&scan, &node, list + entries->count))
            return unreadable;
        entries->count++;
    }
    qsort(list, entries->count, sizeof *list, compare_entries);
    return nullptr;
}

bool group_walk_next(const config_entries *running, const config_entries *source, group_walk *walk,
                     entry_group *group)
{
    const bool has_running = walk->running_at < running->count;
    const bool has_source = walk->source_at < source->count;
    if (!has_running && !has_source)
        return false;
    *group = {running->list.get() + walk->running_at, 0, source->list.get() + walk->source_at, 0};
    int order = has_running ? -1 : 1;
    if (has_running && has_source)
        order = compare_names(group->running, group->source);
    if (order <= 0)
        group->running_count = group_size(running, walk->running_at);
    if (order >= 0)
        group->source_count = group_size(source, walk->source_at);
    walk->running_at += group->running_count;
    walk->source_at += group->source_count;
    return true;
}
