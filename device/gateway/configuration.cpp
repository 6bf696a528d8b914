#include "device/gateway/configuration.h"

#include <algorithm>

namespace
{

// No leaf that is longer is taken for a key.
constexpr size_t key_limit = 4096;

constexpr size_t key_memory = size_t{1} << 30;

// Appends one record to an array of them.
template <class T>
int append_record(byte_buffer *array, const T *record, size_t limit)
{
    const auto *bytes = reinterpret_cast<const char *>(record);
    return byte_buffer_append(array, bytes, sizeof *record, limit) == buffer_ok ? 0 : -1;
}

int compare_names(const config_entry *one, const config_entry *other)
{
    const int order = one->element.local.compare(other->element.local);
    return order != 0 ? order : one->element.uri.compare(other->element.uri);
}

bool stands_before(const config_entry &one, const config_entry &other)
{
    const int order = compare_names(&one, &other);
    return order != 0 ? order < 0 : one.element.from < other.element.from;
}

const xml_element *current_element(const configuration *config)
{
    return &config->walk.open[config->walk.depth - 1];
}

// Notes the namespaces around the current element; -1: no memory.
int inherit(configuration *config)
{
    int result = 0;
    for (unsigned depth = config->depth; depth > 0; depth--) {
        std::string_view rest = config->walk.open[depth - 1].attributes;
        xml_attribute attribute;
        xml_attribute known;
        while (result == 0 && xml_attribute_next(&rest, &attribute)) {
            if (is_declaration(attribute.name) &&
                !xml_attribute_find(byte_buffer_view(&config->inherited), attribute.name, &known))
                result = byte_buffer_add(&config->inherited,
                                         {" ", attribute.name, "=", attribute.quoted});
        }
    }
    return result;
}

size_t key_count(const configuration *config)
{
    return config->keys.size / sizeof(config_span);
}

void begin_entry(configuration *config)
{
    config->current = {*current_element(config), key_count(config), 0, {}};
    config->last_local = {};
    config->last_is_key = false;
}

int end_entry(configuration *config, const content_marks *marks)
{
    config_entry *entry = &config->current;
    entry->element.end = current_element(config)->end;
    entry->key_count = key_count(config) - entry->key_from;
    entry->marks = *marks;
    config->has_operation = config->has_operation || marks->has_operation;
    return append_record(&config->entries, entry, config_entry_limit * sizeof *entry);
}

// Takes the end of a child of an entry.
int end_child(configuration *config, const content_marks *marks)
{
    const xml_element *child = current_element(config);
    const bool is_twin = child->local == config->last_local && child->uri == config->last_uri;
    if (is_twin && config->last_is_key)
        config->keys.size -= sizeof(config_span);
    config->last_local = child->local;
    config->last_uri = child->uri;
    config->last_is_key = !is_twin && !marks->has_children &&
                          child->uri == config->current.element.uri &&
                          child->end - child->from <= key_limit;
    const config_span key = {static_cast<uint32_t>(child->from), static_cast<uint32_t>(child->end)};
    return config->last_is_key ? append_record(&config->keys, &key, key_memory) : 0;
}

// How many entries from at on have the name of that one.
size_t group_size(const configuration *config, size_t at)
{
    const config_entry *first = configuration_entries(config) + at;
    const size_t most = configuration_count(config) - at;
    size_t size = 1;
    while (size < most && compare_names(first, first + size) == 0)
        size++;
    return size;
}

xml_step reply_start(void *context, const xml_walk *walk)
{
    auto *config = static_cast<configuration *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    const char *name = walk->depth == reply_root ? "rpc-reply" : "data";
    const bool is_outer = walk->depth <= reply_data;
    if (is_outer && !xml_is_base(element, name))
        return xml_step_fail;
    return walk->depth == reply_root ? xml_step_on : configuration_start(config);
}

// All is known at the end of the data.
xml_step reply_end(void *context, const xml_walk *walk)
{
    if (walk->depth <= reply_data)
        return xml_step_end;
    return configuration_end(static_cast<configuration *>(context));
}

} // namespace

xml_step configuration_start(configuration *config)
{
    const unsigned depth = config->walk.depth;
    if (config->depth == 0) {
        config->depth = depth;
        config->parent = *current_element(config);
        return inherit(config) == 0 ? xml_step_on : xml_step_fail;
    }
    if (depth == config->depth + 1)
        begin_entry(config);
    return marks_start(&config->marks, &config->walk) == 0 ? xml_step_on : xml_step_fail;
}

xml_step configuration_text(void *context, const xml_walk *walk, std::string_view text)
{
    auto *config = static_cast<configuration *>(context);
    if (config->depth != 0 && walk->depth > config->depth)
        marks_text(&config->marks, walk, text);
    return xml_step_on;
}

xml_step configuration_end(configuration *config)
{
    const unsigned depth = config->walk.depth;
    const content_marks marks = marks_end(&config->marks, &config->walk);
    int result = 0;
    if (depth == config->depth + 1)
        result = end_entry(config, &marks);
    else if (depth == config->depth + 2)
        result = end_child(config, &marks);
    return result == 0 ? xml_step_on : xml_step_fail;
}

void configuration_sort(configuration *config)
{
    auto *entries = reinterpret_cast<config_entry *>(config->entries.data.get());
    std::sort(entries, entries + configuration_count(config), stands_before);
}

const char *configuration_read_reply(configuration *config, std::string_view text)
{
    static const xml_events events = {reply_start, configuration_text, reply_end};
    const int result = xml_walk_run(&config->walk, text, &events, config);
    if (config->depth == 0)
        return "the server gives no data";
    if (result != 0)
        return configuration_unreadable;
    configuration_sort(config);
    return nullptr;
}

const config_entry *configuration_entries(const configuration *config)
{
    return reinterpret_cast<const config_entry *>(config->entries.data.get());
}

size_t configuration_count(const configuration *config)
{
    return config->entries.size / sizeof(config_entry);
}

const config_span *configuration_keys(const configuration *config, const config_entry *entry)
{
    return reinterpret_cast<const config_span *>(config->keys.data.get()) + entry->key_from;
}

bool is_declaration(std::string_view attribute_name)
{
    return attribute_name == "xmlns" || attribute_name.substr(0, 6) == "xmlns:";
}

bool entry_group_next(const configuration *running, const configuration *source, entry_group *group)
{
    group->running_from += group->running_count;
    group->source_from += group->source_count;
    group->running = configuration_entries(running) + group->running_from;
    group->source = configuration_entries(source) + group->source_from;
    const bool has_running = group->running_from < configuration_count(running);
    const bool has_source = group->source_from < configuration_count(source);
    int order = has_running ? -1 : 1;
    if (has_running && has_source)
        order = compare_names(group->running, group->source);
    group->running_count = has_running && order <= 0 ? group_size(running, group->running_from) : 0;
    group->source_count = has_source && order >= 0 ? group_size(source, group->source_from) : 0;
    return has_running || has_source;
}
