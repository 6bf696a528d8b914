#include "device/gateway/copy_request.h"

#include <cstring>
#include <initializer_list>

#include "device/gateway/xml_reader.h"

namespace
{

constexpr size_t edit_size_limit = size_t{1} << 30;

/* A copy-config has two children, or three. */
constexpr unsigned copy_child_limit = 16;

/* A data model has a few nodes at its top; more are the entries of a list. */
constexpr size_t top_limit = 4096;

constexpr std::string_view nothing_but_blanks = " \t\r\n";

struct node_name {
    std::string_view uri;
    std::string_view local;
};

/* The nodes at the top of a configuration, in order, each name once. */
struct top_nodes {
    std::unique_ptr<node_name, free_deleter> names;
    size_t count;
};

/* The data element of a reply. Not copied, like running_copy. */
struct reply_data {
    xml_element reply;
    xml_element data;
    size_t end; /* where its content ends */
};

bool is_base(const xml_element *element, std::string_view local)
{
    return xml_element_is(element, netconf_base_namespace, local);
}

bool is_bare(const xml_element *element)
{
    return element->attributes.find_first_not_of(nothing_but_blanks) == std::string_view::npos;
}

/* Moves to the copy-config of an rpc. */
bool find_copy(xml_scan *scan, xml_element *rpc, xml_element *copy)
{
    return xml_scan_root(scan, rpc) && is_base(rpc, "rpc") && xml_scan_child(scan, rpc, copy) &&
           is_base(copy, "copy-config");
}

/* Reads an element that holds one child; *child is skipped too. */
bool read_only_child(xml_scan *scan, const xml_element *parent, xml_element *child,
                     size_t *child_end)
{
    if (!xml_scan_child(scan, parent, child))
        return false;
    *child_end = xml_scan_skip(scan, child);
    xml_element another;
    return !xml_scan_child(scan, parent, &another) && !scan->failed;
}

bool read_target(xml_scan *scan, const xml_element *target)
{
    xml_element datastore;
    size_t end;
    return read_only_child(scan, target, &datastore, &end) && is_base(&datastore, "running");
}

bool read_source(xml_scan *scan, running_copy *copy)
{
    if (!is_bare(&copy->source) ||
        !read_only_child(scan, &copy->source, &copy->config, &copy->config_end))
        return false;
    copy->from_startup = is_base(&copy->config, "startup");
    return copy->from_startup || is_base(&copy->config, "config");
}

int compare_names(const void *left, const void *right)
{
    const auto *one = static_cast<const node_name *>(left);
    const auto *other = static_cast<const node_name *>(right);
    const int order = one->local.compare(other->local);
    return order != 0 ? order : one->uri.compare(other->uri);
}

const char *sort_names(top_nodes *nodes)
{
    node_name *names = nodes->names.get();
    qsort(names, nodes->count, sizeof *names, compare_names);
    for (size_t at = 1; at < nodes->count; ++at) {
        if (compare_names(names + at - 1, names + at) == 0)
            return "a list stands at the top of the configuration";
    }
    return nullptr;
}

/* Collects the children of parent, behind whose start tag the scan stands. */
const char *read_top_nodes(xml_scan *scan, const xml_element *parent, top_nodes *nodes)
{
    nodes->count = 0;
    nodes->names.reset(static_cast<node_name *>(calloc(top_limit, sizeof(node_name))));
    if (!nodes->names)
        return "out of memory";
    xml_element node;
    while (xml_scan_child(scan, parent, &node)) {
        if (nodes->count == top_limit)
            return "too many nodes stand at the top of the configuration";
        nodes->names.get()[nodes->count++] = {node.uri, node.local};
        xml_scan_skip(scan, &node);
    }
    return scan->failed ? "the configuration cannot be followed" : sort_names(nodes);
}

bool has_name(const top_nodes *nodes, const node_name *name)
{
    return bsearch(name, nodes->names.get(), nodes->count, sizeof *name, compare_names) != nullptr;
}

bool append(byte_buffer *out, std::initializer_list<std::string_view> pieces)
{
    for (const std::string_view piece : pieces) {
        if (byte_buffer_append(out, piece.data(), piece.size(), edit_size_limit) != buffer_ok)
            return false;
    }
    return true;
}

const char *read_reply(std::string_view text, reply_data *found, top_nodes *nodes)
{
    xml_scan scan{text, 0, false};
    if (!xml_scan_root(&scan, &found->reply) || !is_base(&found->reply, "rpc-reply") ||
        !xml_scan_child(&scan, &found->reply, &found->data) || !is_base(&found->data, "data"))
        return "the server gives no data";
    xml_scan inner = scan;
    found->end = xml_scan_skip(&scan, &found->data);
    return scan.failed ? "the server's data cannot be followed"
                       : read_top_nodes(&inner, &found->data, nodes);
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

/* Appends the namespaces that a data element declares or inherits. */
bool append_declarations(byte_buffer *out, const xml_element *data)
{
    for (const xml_element *from = data; from; from = from->parent) {
        std::string_view rest = from->attributes;
        xml_attribute attribute;
        while (xml_attribute_next(&rest, &attribute)) {
            const bool is_hidden = from != data && has_attribute(data->attributes, attribute.name);
            if (!is_declaration(attribute.name) || is_hidden)
                continue;
            const std::string_view quote(&attribute.quote, 1);
            if (!append(out, {" ", attribute.name, "=", quote, attribute.value, quote}))
                return false;
        }
    }
    return true;
}

/* Appends what removes the nodes of running that are not in kept. */
bool append_removals(byte_buffer *out, const top_nodes *running, const top_nodes *kept)
{
    for (size_t at = 0; at < running->count; ++at) {
        const node_name *name = running->names.get() + at;
        if (!has_name(kept, name) &&
            !append(out, {"<", name->local, " xmlns=\"", name->uri, "\" xmlns:nc=\"",
                          netconf_base_namespace, "\" nc:operation=\"remove\"/>"}))
            return false;
    }
    return true;
}

/* The configuration that takes running's place. */
struct new_running {
    std::string_view text;
    const xml_element *parent; /* of the nodes at its top, in text */
    size_t end;                /* of its content */
};

/* Appends the config element. Its name gets the prefix of the element whose
 * content it takes over, so that it means the same among the same namespaces. */
bool append_config(byte_buffer *out, const new_running *source, const top_nodes *running,
                   const top_nodes *kept)
{
    const xml_element *parent = source->parent;
    const std::string_view content =
        parent->is_empty ? std::string_view{}
                         : source->text.substr(parent->content, source->end - parent->content);
    if (!append(out, {"<", parent->prefix, "config"}))
        return false;
    const bool is_reply = is_base(parent, "data");
    const bool declared =
        is_reply ? append_declarations(out, parent) : append(out, {parent->attributes});
    return declared && append(out, {">", content}) && append_removals(out, running, kept) &&
           append(out, {"</", parent->prefix, "config>"});
}

/* Appends a parameter of the edit-config. */
bool append_parameter(byte_buffer *out, std::string_view prefix, std::string_view name,
                      std::string_view value)
{
    return append(out, {"<", prefix, name, ">", value, "</", prefix, name, ">"});
}

bool append_edit(byte_buffer *out, std::string_view request, const running_copy *copy,
                 const new_running *source, const top_nodes *running, const top_nodes *kept)
{
    const xml_element *element = &copy->copy;
    const std::string_view prefix = element->prefix;
    return append(out, {request.substr(0, element->from), "<", prefix, "edit-config",
                        element->attributes, ">"}) &&
           append(out, {"<", prefix, "target><", prefix, "running/></", prefix, "target>"}) &&
           append_parameter(out, prefix, "default-operation", "replace") &&
           append_parameter(out, prefix, "error-option", "rollback-on-error") &&
           append_config(out, source, running, kept) &&
           append(out, {"</", prefix, "edit-config>", request.substr(copy->copy_end)});
}

} // namespace

void copy_request_clean(byte_buffer *request)
{
    char *bytes = request->data.get();
    xml_scan scan{{bytes, request->size}, 0, false};
    xml_element rpc;
    xml_element copy;
    if (!find_copy(&scan, &rpc, &copy))
        return;
    struct {
        size_t from;
        size_t to;
    } dropped[copy_child_limit];
    unsigned count = 0;
    unsigned children = 0;
    xml_element child;
    while (children++ < copy_child_limit && xml_scan_child(&scan, &copy, &child)) {
        xml_scan_skip(&scan, &child);
        if (is_base(&child, "error-option"))
            dropped[count++] = {child.from, scan.at};
    }
    if (scan.failed || count == 0)
        return;
    size_t kept = dropped[0].from;
    for (unsigned at = 0; at < count; ++at) {
        const size_t next = at + 1 < count ? dropped[at + 1].from : request->size;
        memmove(bytes + kept, bytes + dropped[at].to, next - dropped[at].to);
        kept += next - dropped[at].to;
    }
    request->size = kept;
}

bool running_copy_read(std::string_view request, running_copy *copy)
{
    *copy = {};
    xml_scan scan{request, 0, false};
    if (!find_copy(&scan, &copy->rpc, &copy->copy))
        return false;
    bool has_target = false;
    bool has_source = false;
    xml_element child;
    while (xml_scan_child(&scan, &copy->copy, &child)) {
        bool *seen = is_base(&child, "target") ? &has_target : &has_source;
        if (*seen)
            return false;
        *seen = true;
        if (seen == &has_source) {
            copy->source = child;
            if (!is_base(&child, "source") || !read_source(&scan, copy))
                return false;
        } else if (!read_target(&scan, &child)) {
            return false;
        }
    }
    copy->copy_end = scan.at;
    return !scan.failed && has_target && has_source;
}

const char *running_copy_to_edit(std::string_view request, std::string_view startup_reply,
                                 std::string_view running_reply, byte_buffer *edit)
{
    running_copy copy;
    if (!running_copy_read(request, &copy))
        return "the request cannot be followed";
    reply_data startup{};
    reply_data running{};
    top_nodes kept{};
    top_nodes present{};
    new_running source{request, &copy.config, copy.config_end};
    const char *reason;
    if (copy.from_startup) {
        source = {startup_reply, &startup.data, 0};
        reason = read_reply(startup_reply, &startup, &kept);
        source.end = startup.end;
    } else {
        xml_scan scan{request, copy.config.content, false};
        reason = read_top_nodes(&scan, &copy.config, &kept);
    }
    if (!reason)
        reason = read_reply(running_reply, &running, &present);
    if (!reason && !append_edit(edit, request, &copy, &source, &present, &kept))
        reason = "out of memory";
    return reason;
}
