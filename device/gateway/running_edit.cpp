#include "device/gateway/running_edit.h"

#include <initializer_list>

#include "device/gateway/config_entries.h"
#include "device/gateway/copy_request.h"
#include "device/gateway/xml_reader.h"

namespace
{

constexpr size_t edit_size_limit = size_t{1} << 30;

// No leaf that is longer is taken for a key.
constexpr size_t key_limit = 4096;

// The data element of a reply. Not copied, like running_copy.
struct reply_data {
    xml_element reply;
    xml_element data;
};

// A configuration and what stands at its top.
struct edit_side {
    std::string_view text;
    const xml_element *parent; // of the nodes at its top, in text
    config_entries entries;
};

// All that an edit is made of. Not copied: its elements point to one another.
struct edit_parts {
    running_copy copy;
    reply_data startup_data;
    reply_data running_data;
    edit_side source;
    edit_side running;
    bool again; // running is what came of an edit
};

// A child of an entry that is removed, and what stands around it.
struct key_candidate {
    xml_element element;
    size_t end;
    bool is_leaf;
};

bool append(byte_buffer *out, std::initializer_list<std::string_view> pieces)
{
    for (const std::string_view piece : pieces) {
        if (byte_buffer_append(out, piece.data(), piece.size(), edit_size_limit) != buffer_ok)
            return false;
    }
    return true;
}

const char *read_reply(std::string_view text, reply_data *found, edit_side *side)
{
    xml_scan scan{text, 0, false};
    const bool has_data = xml_scan_root(&scan, &found->reply) &&
                          xml_element_is(&found->reply, netconf_base_namespace, "rpc-reply") &&
                          xml_scan_child(&scan, &found->reply, &found->data) &&
                          xml_element_is(&found->data, netconf_base_namespace, "data");
    if (!has_data)
        return "the server gives no data";
    side->text = text;
    side->parent = &found->data;
    return config_entries_read(text, side->parent, &side->entries);
}

const char *read_source(const running_source *source, edit_parts *parts)
{
    if (!running_copy_read(source->request, &parts->copy))
        return "the request cannot be followed";
    if (parts->copy.from_startup)
        return read_reply(source->startup_reply, &parts->startup_data, &parts->source);
    parts->source.text = source->request;
    parts->source.parent = &parts->copy.config;
    const char *reason =
        config_entries_read(source->request, parts->source.parent, &parts->source.entries);
    const config_entries *entries = &parts->source.entries;
    for (size_t at = 0; reason == nullptr && at < entries->count; at++) {
        if (entries->list.get()[at].marks.has_operation)
            reason = "the configuration holds operations of its own";
    }
    return reason;
}

const char *read_parts(const running_source *source, std::string_view running_reply,
                       edit_parts *parts)
{
    const char *reason = read_source(source, parts);
    return reason != nullptr ? reason
                             : read_reply(running_reply, &parts->running_data, &parts->running);
}

bool is_declaration(std::string_view name)
{
    return name == "xmlns" || name.substr(0, 6) == "xmlns:";
}

bool has_attribute(std::string_view attributes, std::string_view name)
{
    xml_attribute attribute;
    while (xml_attribute_next(&attributes, &attribute)) {
        if (attribute.name == name)
            return true;
    }
    return false;
}

// True when an element from inner out to outer, which is not asked, has it.
bool is_hidden(const xml_element *inner, const xml_element *outer, std::string_view name)
{
    for (const xml_element *at = inner; at != outer; at = at->parent) {
        if (has_attribute(at->attributes, name))
            return true;
    }
    return false;
}

// Appends the namespaces that an element declares or inherits, so that its name
// and all in it mean the same anywhere.
bool append_declarations(byte_buffer *out, const xml_element *element)
{
    for (const xml_element *from = element; from != nullptr; from = from->parent) {
        std::string_view rest = from->attributes;
        xml_attribute attribute;
        while (xml_attribute_next(&rest, &attribute)) {
            if (!is_declaration(attribute.name) || is_hidden(element, from, attribute.name))
                continue;
            const std::string_view quote(&attribute.quote, 1);
            if (!append(out, {" ", attribute.name, "=", quote, attribute.value, quote}))
                return false;
        }
    }
    std::string_view uri;
    return xml_namespace_find(element, "", &uri) || append(out, {" xmlns=\"\""});
}

// Appends the attribute that says what to do with an element, with a prefix that
// means nothing else there.
const char *append_operation(byte_buffer *out, const xml_element *element,
                             std::string_view operation)
{
    for (const std::string_view prefix : {"nc:", "netconf:", "edit:", "op:"}) {
        std::string_view uri;
        const bool is_declared = xml_namespace_find(element, prefix, &uri);
        if (is_declared && uri != netconf_base_namespace)
            continue;
        const std::string_view name = prefix.substr(0, prefix.size() - 1);
        const bool is_done =
            (is_declared || append(out, {" xmlns:", name, "=\"", netconf_base_namespace, "\""})) &&
            append(out, {" ", prefix, "operation=\"", operation, "\""});
        return is_done ? nullptr : "out of memory";
    }
    return "no prefix is left for the edit's operations";
}

bool same_name(const xml_element *one, const xml_element *other)
{
    return one->local == other->local && one->uri == other->uri;
}

// Moves over the next child.
bool read_candidate(xml_scan *scan, const xml_element *entry, key_candidate *candidate)
{
    xml_element *element = &candidate->element;
    if (!xml_scan_child(scan, entry, element))
        return false;
    xml_scan inner = *scan;
    xml_element grandchild;
    candidate->is_leaf = !xml_scan_child(&inner, element, &grandchild);
    xml_scan_skip(scan, element);
    candidate->end = scan->at;
    return !scan->failed;
}

// Appends the children that may be keys: leafs of the entry's own module that
// stand there once (equal ones are next to each other: a leaf-list).
bool append_keys(byte_buffer *out, std::string_view text, xml_scan scan, const xml_element *entry)
{
    key_candidate children[2];
    bool repeats = false;
    unsigned at = 0;
    bool more = read_candidate(&scan, entry, &children[at]);
    while (more) {
        const key_candidate *child = &children[at];
        key_candidate *next = &children[1 - at];
        more = read_candidate(&scan, entry, next);
        const bool has_twin = more && same_name(&child->element, &next->element);
        const size_t from = child->element.from;
        const bool is_key = child->is_leaf && !repeats && !has_twin &&
                            child->element.uri == entry->uri && child->end - from <= key_limit;
        if (is_key && !append(out, {text.substr(from, child->end - from)}))
            return false;
        repeats = has_twin;
        at = 1 - at;
    }
    return true;
}

// Appends what removes an entry of running.
const char *append_removal(byte_buffer *out, const edit_side *running, const config_entry *entry)
{
    xml_scan scan{running->text, entry->from, false};
    xml_element element;
    xml_scan_child(&scan, running->parent, &element);
    if (!append(out, {"<", element.prefix, element.local}) || !append_declarations(out, &element))
        return "out of memory";
    const char *reason = append_operation(out, &element, "remove");
    if (reason != nullptr)
        return reason;
    const std::string_view content =
        running->text.substr(element.content, entry->end - element.content);
    const bool has_text = !element.is_empty && !entry->marks.has_children;
    const bool is_done = append(out, {">"}) &&
                         (has_text ? append(out, {content.substr(0, content.rfind('<'))})
                                   : append_keys(out, running->text, scan, &element)) &&
                         append(out, {"</", element.prefix, element.local, ">"});
    return is_done ? nullptr : "out of memory";
}

// Appends what puts an entry of the source in its place.
const char *append_replacement(byte_buffer *out, const edit_side *source, const config_entry *entry)
{
    xml_scan scan{source->text, entry->from, false};
    xml_element element;
    xml_scan_child(&scan, source->parent, &element);
    const size_t name_end = entry->from + 1 + element.prefix.size() + element.local.size();
    if (!append(out, {source->text.substr(entry->from, name_end - entry->from)}))
        return "out of memory";
    const char *reason = append_operation(out, &element, "replace");
    if (reason != nullptr)
        return reason;
    return append(out, {source->text.substr(name_end, entry->end - name_end)}) ? nullptr
                                                                               : "out of memory";
}

// True when the entries of one name are not the same ones.
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

// True when a leaf is still another one after it was replaced.
bool is_stuck(const edit_parts *parts, const entry_group *group)
{
    return parts->again && is_pair(group) && !group->running->marks.has_children &&
           !group->source->marks.has_children && differs(group);
}

// True when the entry of running is the source's next one, of which kept stay.
bool is_kept(const entry_group *group, size_t at, size_t kept)
{
    return kept < group->source_count &&
           group->running[at].marks.exact == group->source[kept].marks.exact;
}

// Appends the removals of one name.
const char *append_removals(byte_buffer *out, const edit_parts *parts, const entry_group *group)
{
    if (is_pair(group))
        return is_stuck(parts, group) ? append_removal(out, &parts->running, group->running)
                                      : nullptr;
    size_t kept = 0;
    const char *reason = nullptr;
    for (size_t at = 0; reason == nullptr && at < group->running_count; at++) {
        if (is_kept(group, at, kept))
            kept++;
        else
            reason = append_removal(out, &parts->running, group->running + at);
    }
    return reason;
}

// Appends the replacements of one name.
const char *append_replacements(byte_buffer *out, const edit_parts *parts, const entry_group *group)
{
    if (is_stuck(parts, group))
        return nullptr;
    size_t kept = 0;
    const bool may_stay = !is_pair(group) || !group->source->marks.has_children;
    for (size_t at = 0; may_stay && at < group->running_count; at++)
        kept += is_kept(group, at, kept) ? 1 : 0;
    const char *reason = nullptr;
    for (size_t at = kept; reason == nullptr && at < group->source_count; at++)
        reason = append_replacement(out, &parts->source, group->source + at);
    return reason;
}

// Appends what one of the two appends for each name.
const char *append_all(byte_buffer *out, const edit_parts *parts,
                       const char *(*append_group)(byte_buffer *, const edit_parts *,
                                                   const entry_group *))
{
    group_walk walk{};
    entry_group group;
    const char *reason = nullptr;
    while (reason == nullptr &&
           group_walk_next(&parts->running.entries, &parts->source.entries, &walk, &group))
        reason = append_group(out, parts, &group);
    return reason;
}

// Appends the config element. Its name gets the prefix of the element whose
// content it takes over, so that it means the same among the same namespaces.
const char *append_config(byte_buffer *out, const edit_parts *parts)
{
    const xml_element *parent = parts->source.parent;
    const bool is_begun = append(out, {"<", parent->prefix, "config"}) &&
                          (parts->copy.from_startup ? append_declarations(out, parent)
                                                    : append(out, {parent->attributes})) &&
                          append(out, {">"});
    const char *reason = is_begun ? append_all(out, parts, append_removals) : "out of memory";
    if (reason == nullptr)
        reason = append_all(out, parts, append_replacements);
    if (reason != nullptr)
        return reason;
    return append(out, {"</", parent->prefix, "config>"}) ? nullptr : "out of memory";
}

const char *append_edit(byte_buffer *out, std::string_view request, const edit_parts *parts)
{
    const xml_element *element = &parts->copy.copy;
    const std::string_view prefix = element->prefix;
    const bool is_begun = append(
        out, {request.substr(0, element->from), "<", prefix, "edit-config", element->attributes,
              "><", prefix, "target><", prefix, "running/></", prefix, "target><", prefix,
              "error-option>rollback-on-error</", prefix, "error-option>"});
    const char *reason = is_begun ? append_config(out, parts) : "out of memory";
    if (reason != nullptr)
        return reason;
    const std::string_view rest = request.substr(parts->copy.copy_end);
    return append(out, {"</", prefix, "edit-config>", rest}) ? nullptr : "out of memory";
}

} // namespace

const char *running_edit_write(const running_source *source, std::string_view running_reply,
                               bool again, byte_buffer *edit)
{
    edit_parts parts{};
    parts.again = again;
    const char *reason = read_parts(source, running_reply, &parts);
    return reason != nullptr ? reason : append_edit(edit, source->request, &parts);
}

const char *running_edit_check(const running_source *source, std::string_view running_reply,
                               std::string_view *name)
{
    edit_parts parts{};
    const char *reason = read_parts(source, running_reply, &parts);
    *name = {};
    group_walk walk{};
    entry_group group;
    while (reason == nullptr && name->empty() &&
           group_walk_next(&parts.running.entries, &parts.source.entries, &walk, &group)) {
        if (differs(&group))
            *name = group.running_count > 0 ? group.running->local : group.source->local;
    }
    return reason;
}
