#include "device/gateway/running_edit.h"

#include <memory>
#include <new>

#include "device/gateway/configuration.h"
#include "device/gateway/running_copy.h"

namespace
{

// How long an edit may become: so many times the texts that it is made of, and never longer
// than what can be told in one chunk. What a removal says of an entry of a few bytes, which
// is its namespaces and the operation, takes less.
constexpr size_t edit_growth = 64;
constexpr size_t edit_beginning = 65536;
constexpr size_t edit_size_limit = size_t{1} << 30;

// All that an edit is made of. Too large for the stack.
struct edit_parts {
    running_copy copy;
    configuration source;
    configuration running;
    bool again; // running is what came of an edit
};

// The edit as it grows. After a fault nothing more is appended.
struct edit_text {
    byte_buffer *text;
    size_t limit;
    const char *fault;
    std::string_view removal; // the operation that removes what is there
};

void append(edit_text *out, std::initializer_list<std::string_view> pieces)
{
    if (out->fault != nullptr)
        return;
    const buffer_result result = byte_buffer_append_all(out->text, pieces, out->limit);
    if (result != buffer_ok)
        out->fault = result == buffer_full ? "the edit would be too long" : "out of memory";
}

const char *read_source(const running_source *source, edit_parts *parts)
{
    const char *reason = running_copy_read_all(source->request, &parts->copy, &parts->source);
    if (reason != nullptr)
        return reason;
    if (parts->copy.from_startup)
        return configuration_read_reply(&parts->source, source->startup_reply);
    return parts->source.has_operation ? "the configuration holds operations of its own" : nullptr;
}

// Null, with *reason what is in the way: nothing can be made of them.
std::unique_ptr<edit_parts> read_parts(const running_source *source, std::string_view running_reply,
                                       const char **reason)
{
    std::unique_ptr<edit_parts> parts(new (std::nothrow) edit_parts{});
    *reason = parts == nullptr ? "out of memory" : read_source(source, parts.get());
    if (*reason == nullptr)
        *reason = configuration_read_reply(&parts->running, running_reply);
    return *reason == nullptr ? std::move(parts) : nullptr;
}

std::string_view written_name(const xml_element *element)
{
    return {element->prefix.data(), element->prefix.size() + element->local.size()};
}

// What an entry with these attributes declares or inherits under a name.
bool find_declaration(const configuration *config, std::string_view own, std::string_view name,
                      xml_attribute *found)
{
    return xml_attribute_find(own, name, found) ||
           xml_attribute_find(byte_buffer_view(&config->inherited), name, found);
}

// Appends those attributes that declare what others do not.
void append_declarations_but(edit_text *out, std::string_view attributes, std::string_view others)
{
    xml_attribute attribute;
    xml_attribute other;
    while (xml_attribute_next(&attributes, &attribute)) {
        if (is_declaration(attribute.name) && !xml_attribute_find(others, attribute.name, &other))
            append(out, {" ", attribute.name, "=", attribute.quoted});
    }
}

// Appends the namespaces that an element with these attributes declares or inherits, so that
// its name and all in it mean the same anywhere.
void append_declarations(edit_text *out, const configuration *config, std::string_view own)
{
    xml_attribute found;
    append_declarations_but(out, own, {});
    append_declarations_but(out, byte_buffer_view(&config->inherited), own);
    if (!find_declaration(config, own, "xmlns", &found))
        append(out, {" xmlns=\"\""});
}

// Appends the attribute that says what to do with an entry, with a prefix that means
// nothing else there.
void append_operation(edit_text *out, const configuration *config, std::string_view own,
                      std::string_view operation)
{
    for (const std::string_view declaration :
         {"xmlns:nc", "xmlns:netconf", "xmlns:edit", "xmlns:op"}) {
        xml_attribute found;
        const bool is_declared = find_declaration(config, own, declaration, &found);
        if (is_declared && found.value != netconf_base_namespace)
            continue;
        if (!is_declared)
            append(out, {" ", declaration, "=\"", netconf_base_namespace, "\""});
        const std::string_view prefix = declaration.substr(declaration.find(':') + 1);
        append(out, {" ", prefix, ":operation=\"", operation, "\""});
        return;
    }
    out->fault = "no prefix is left for the edit's operations";
}

void append_keys(edit_text *out, const configuration *running, const config_entry *entry)
{
    const config_span *keys = configuration_keys(running, entry);
    for (size_t at = 0; at < entry->key_count; at++)
        append(out, {running->walk.text.substr(keys[at].from, keys[at].end - keys[at].from)});
}

// Appends what removes an entry of running.
void append_removal(edit_text *out, const configuration *running, const config_entry *entry)
{
    const xml_element *element = &entry->element;
    const std::string_view name = written_name(element);
    append(out, {"<", name});
    append_declarations(out, running, element->attributes);
    append_operation(out, running, element->attributes, out->removal);
    append(out, {">"});
    const std::string_view content =
        running->walk.text.substr(element->content, element->end - element->content);
    if (entry->marks.has_children)
        append_keys(out, running, entry);
    else
        append(out, {content.substr(0, content.rfind('<'))});
    append(out, {"</", name, ">"});
}

// Appends what puts an entry of the source in its place.
void append_replacement(edit_text *out, const configuration *source, const config_entry *entry)
{
    const std::string_view name = written_name(&entry->element);
    const size_t name_end = entry->element.from + 1 + name.size();
    append(out, {"<", name});
    append_operation(out, source, entry->element.attributes, "replace");
    append(out, {source->walk.text.substr(name_end, entry->element.end - name_end)});
}

// Whether the entries of one name are not the same ones.
bool differs(const entry_group *group)
{
    uint64_t plain = 0;
    uint64_t loose = 0;
    for (size_t at = 0; at < group->running_count; at++) {
        plain += group->running[at].marks.plain;
        loose += group->running[at].marks.loose;
    }
    for (size_t at = 0; at < group->source_count; at++) {
        plain -= group->source[at].marks.plain;
        loose -= group->source[at].marks.loose;
    }
    return group->running_count != group->source_count || (plain != 0 && loose != 0);
}

bool is_pair(const entry_group *group)
{
    return group->running_count == 1 && group->source_count == 1;
}

// Whether a leaf is still another one after it was replaced.
bool is_stuck(const edit_parts *parts, const entry_group *group)
{
    return parts->again && is_pair(group) && !group->running->marks.has_children &&
           !group->source->marks.has_children && differs(group);
}

// Whether the entry of running is the source's next one, of which kept stay.
bool is_kept(const entry_group *group, size_t at, size_t kept)
{
    return kept < group->source_count &&
           group->running[at].marks.exact == group->source[kept].marks.exact;
}

// Appends the removals of one name.
void append_removals(edit_text *out, const edit_parts *parts, const entry_group *group)
{
    if (is_stuck(parts, group))
        append_removal(out, &parts->running, group->running);
    if (is_pair(group))
        return;
    size_t kept = 0;
    for (size_t at = 0; at < group->running_count && out->fault == nullptr; at++) {
        if (is_kept(group, at, kept))
            kept++;
        else
            append_removal(out, &parts->running, group->running + at);
    }
}

// Appends the replacements of one name.
void append_replacements(edit_text *out, const edit_parts *parts, const entry_group *group)
{
    if (is_stuck(parts, group))
        return;
    size_t kept = 0;
    const bool may_stay = !is_pair(group) || !group->source->marks.has_children;
    for (size_t at = 0; may_stay && at < group->running_count; at++)
        kept += is_kept(group, at, kept) ? 1 : 0;
    for (size_t at = kept; at < group->source_count && out->fault == nullptr; at++)
        append_replacement(out, &parts->source, group->source + at);
}

// Appends the config element. Its name gets the prefix of the element whose
// content it takes over, so that it means the same among the same namespaces.
void append_config(edit_text *out, const edit_parts *parts)
{
    const xml_element *parent = &parts->source.parent;
    append(out, {"<", parent->prefix, "config"});
    if (parts->copy.from_startup)
        append_declarations(out, &parts->source, {});
    else
        append(out, {parent->attributes});
    append(out, {">"});
    for (const auto append_group : {append_removals, append_replacements}) {
        entry_group group{};
        while (out->fault == nullptr && entry_group_next(&parts->running, &parts->source, &group))
            append_group(out, parts, &group);
    }
    append(out, {"</", parent->prefix, "config>"});
}

void append_edit(edit_text *out, std::string_view request, const edit_parts *parts)
{
    const xml_element *copy = &parts->copy.copy;
    const std::string_view prefix = copy->prefix;
    append(out, {request.substr(0, copy->from), "<", prefix, "edit-config", copy->attributes, "><",
                 prefix, "target><", prefix, "running/></", prefix, "target><", prefix,
                 "error-option>rollback-on-error</", prefix, "error-option>"});
    append_config(out, parts);
    append(out, {"</", prefix, "edit-config>", request.substr(copy->end)});
}

size_t edit_limit(const running_source *source, std::string_view running_reply)
{
    const size_t size =
        source->request.size() + source->startup_reply.size() + running_reply.size();
    const size_t most = (edit_size_limit - edit_beginning) / edit_growth;
    return edit_beginning + edit_growth * (size < most ? size : most);
}

} // namespace

const char *running_edit_write(const running_source *source, std::string_view running_reply,
                               bool again, byte_buffer *edit)
{
    const char *reason;
    const std::unique_ptr<edit_parts> parts = read_parts(source, running_reply, &reason);
    if (parts == nullptr)
        return reason;
    parts->again = again;
    edit_text out{edit, edit_limit(source, running_reply), nullptr,
                  source->deletes ? "delete" : "remove"};
    append_edit(&out, source->request, parts.get());
    return out.fault;
}

const char *running_edit_check(const running_source *source, std::string_view running_reply,
                               std::string_view *name)
{
    *name = {};
    const char *reason;
    const std::unique_ptr<edit_parts> parts = read_parts(source, running_reply, &reason);
    entry_group group{};
    while (parts != nullptr && name->empty() &&
           entry_group_next(&parts->running, &parts->source, &group)) {
        if (differs(&group))
            *name = (group.running_count > 0 ? group.running : group.source)->element.local;
    }
    return reason;
}
