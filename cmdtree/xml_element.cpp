#include "cmdtree/xml_element.h"

#include <string.h>

#include "base/escape.h"
#include "base/log.h"
#include "cmdtree/element_name.h"
#include "cmdtree/node.h"
#include "schema/database.h"
#include "schema/masking.h"
#include "schema/path.h"
#include "schema/place.h"

namespace
{

const char delete_attribute[] = " xc:operation=\"delete\"";

// A namespace that an element declares; no uri for none.
struct declaration {
    std::string_view prefix;
    heap_text uri;
};

// What an element declares, in this order.
struct declarations {
    declaration module;
    declaration of_value;
};

// The rest of a path after its module, with its slash; null for none.
const char *below_module(const char *path)
{
    return strchr(path + 1, '/');
}

const char *written_value(const cmd_node *node, element_detail detail)
{
    return detail == element_with_changes ? node->value : nullptr;
}

bool takes_prefixed_values(const schema_record *record)
{
    const std::string_view type = record_type_name(record);
    return type == "union" || type == "identityref";
}

// Declares the prefix in an identity's name, unless the value needs none. 0 or -1.
int declare_value_prefix(const char *path, std::string_view value, path_scope scope,
                         declaration *declared)
{
    const place at = place_at(path, scope);
    if (!at.record) {
        log_debug("[DEBUG] Failed to get %s from db\n", shown_text(path).get());
        return -1;
    }
    if (!takes_prefixed_values(at.record.get()))
        return 0;
    const std::string_view prefix = text_slice(value, 0, value.find(':'));
    // What is no name may be a part of a secret, of which a database is told nothing.
    if (!is_xml_name(prefix) || !module_is_known(prefix))
        return 0;
    *declared = {prefix, module_namespace(prefix)};
    return declared->uri ? 0 : -1;
}

// The namespace of a module that its name carries stands in place of all that
// an element declares. 0 or -1.
int apply_name_prefix(const element_name &name, declarations *declared)
{
    if (!name.prefixed)
        return 0;
    *declared = {{{}, module_namespace(name.module)}, {}};
    if (declared->module.uri)
        return 0;
    const heap_text local = text_copy(name.local);
    log_debug("[DEBUG] augment node:%s error\n", local ? local.get() : "");
    return -1;
}

// What a node declares. 0 or -1.
int declare(const cmd_node *node, const element_name &name, const char *value, path_scope scope,
            declarations *declared)
{
    if (node->operation == operation_set && value != nullptr && strchr(value, ':') != nullptr &&
        declare_value_prefix(node->path, value, scope, &declared->of_value) != 0)
        return -1;
    if (strchr(below_module(node->path) + 1, '/') == nullptr) {
        declared->module.uri = path_namespace(node->path);
        if (!declared->module.uri)
            return -1;
    }
    return apply_name_prefix(name, declared);
}

// Appends xmlns="uri" or xmlns:prefix="uri", the uri escaped, after a blank. 0 or -1.
int append_declaration(text_buffer *out, const declaration &declared)
{
    if (!declared.uri)
        return 0;
    if (text_append_all(
            out, {" xmlns", declared.prefix.empty() ? "" : ":", declared.prefix, "=\""}) != 0 ||
        text_append_escaped(out, declared.uri.get()) != 0)
        return -1;
    return text_append(out, "\"");
}

int append_opening_tag(text_buffer *out, std::string_view name, const declarations &declared,
                       std::string_view operation)
{
    if (text_append_all(out, {"<", name}) != 0 || append_declaration(out, declared.module) != 0 ||
        append_declaration(out, declared.of_value) != 0)
        return -1;
    return text_append_all(out, {operation, ">"});
}

int append_closing_tag(text_buffer *out, std::string_view name)
{
    return text_append_all(out, {"</", name, ">"});
}

// A masked value as element text, and the closing tag after it.
int append_value(element_writer *writer, std::string_view masked, std::string_view name)
{
    text_clear(&writer->value);
    if (text_append(&writer->value, masked) != 0)
        return -1;
    char *value = writer->value.data.get();
    make_plain(value);
    if (text_append_escaped(&writer->piece, value) != 0)
        return -1;
    return append_closing_tag(&writer->piece, name);
}

// Declares what a key value needs, as if the key leaf were set. 0 or -1.
int declare_key(const cmd_node *entry, std::string_view key, std::string_view value,
                path_scope scope, declaration *declared)
{
    if (value.find(':') == std::string_view::npos)
        return 0;
    const heap_text list_path = path_listing_parent(entry->path);
    const heap_text leaf_path = list_path ? text_concat({list_path.get(), "/", key}) : nullptr;
    return leaf_path ? declare_value_prefix(leaf_path.get(), value, scope, declared) : -1;
}

// A key and its value, as they stand in a predicate.
int append_key(element_writer *writer, const cmd_node *entry, std::string_view pair)
{
    const std::string_view key = text_take(&pair, '=');
    const element_name name = element_name_of(key);
    declarations declared;
    if (declare_key(entry, key, pair, writer->scope, &declared.of_value) != 0 ||
        apply_name_prefix(name, &declared) != 0 ||
        append_opening_tag(&writer->piece, name.local, declared, "") != 0)
        return -1;
    return append_value(writer, pair, name.local);
}

int append_keys(element_writer *writer, const cmd_node *entry, std::string_view predicate)
{
    while (!predicate.empty()) {
        if (append_key(writer, entry, text_take(&predicate, ',')) != 0)
            return -1;
    }
    return 0;
}

} // namespace

bool element_exists(const cmd_node *node)
{
    return below_module(node->path) != nullptr;
}

int element_open(element_writer *writer, const cmd_node *node)
{
    const last_component last = node_last_component(node);
    const element_name name = element_name_of(last.name);
    const char *value = written_value(node, writer->detail);
    const bool deletes =
        writer->detail == element_with_changes && node->operation == operation_delete;
    const char *operation = deletes ? delete_attribute : "";
    declarations declared;
    if (declare(node, name, value, writer->scope, &declared) != 0 ||
        append_opening_tag(&writer->piece, name.local, declared, operation) != 0)
        return -1;
    return value == nullptr ? append_keys(writer, node, last.predicate)
                            : append_value(writer, value, name.local);
}

int element_close(element_writer *writer, const cmd_node *node)
{
    if (written_value(node, writer->detail) != nullptr)
        return 0;
    return append_closing_tag(&writer->piece,
                              element_name_of(node_last_component(node).name).local);
}
