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

const char delete_attribute[] = "xc:operation=\"delete\"";

element_name name_of(const cmd_node *node)
{
    return element_name_of(node_last_component(node).name);
}

const char *written_value(const cmd_node *node, element_detail detail)
{
    return detail == element_with_changes ? node->value : nullptr;
}

// xmlns="uri" or xmlns:prefix="uri", the uri escaped; null when memory runs out.
heap_text namespace_attribute(std::string_view prefix, const char *uri)
{
    const heap_text escaped = escape_copy(uri);
    if (!escaped)
        return nullptr;
    return text_concat({"xmlns", prefix.empty() ? "" : ":", prefix, "=\"", escaped.get(), "\""});
}

bool takes_prefixed_values(const schema_record *record)
{
    const std::string_view type = record_type_name(record);
    return type == "union" || type == "identityref";
}

// The declaration of the prefix in an identity's name, into *attribute; null
// there when the value needs none. 0 or -1.
int value_prefix_attribute(const char *path, const char *value, path_scope scope,
                           heap_text *attribute)
{
    const char *colon = value != nullptr ? strchr(value, ':') : nullptr;
    if (colon == nullptr)
        return 0;
    const place at = place_at(path, scope);
    if (!at.record) {
        log_debug("[DEBUG] Failed to get %s from db\n", shown_text(path).get());
        return -1;
    }
    if (!takes_prefixed_values(at.record.get()))
        return 0;
    const std::string_view prefix(value, static_cast<size_t>(colon - value));
    if (!module_is_known(prefix))
        return 0;
    const heap_text uri = module_namespace(prefix);
    if (!uri)
        return -1;
    *attribute = namespace_attribute(prefix, uri.get());
    return *attribute ? 0 : -1;
}

// The namespace of a module that its name carries stands in place of all
// other attributes of an element. 0 or -1.
int apply_name_prefix(const element_name &name, heap_text *attributes)
{
    if (!name.prefixed)
        return 0;
    const heap_text uri = module_namespace(name.module);
    if (!uri) {
        const heap_text local = text_copy(name.local);
        log_debug("[DEBUG] augment node:%s error\n", local ? local.get() : "");
        return -1;
    }
    *attributes = namespace_attribute({}, uri.get());
    return *attributes ? 0 : -1;
}

// The namespace of the path's module before the other attributes. 0 or -1.
int prepend_path_namespace(const char *path, heap_text *attributes)
{
    const heap_text uri = path_namespace(path);
    heap_text declared = uri ? namespace_attribute({}, uri.get()) : nullptr;
    if (declared && *attributes)
        declared = text_concat({declared.get(), " ", attributes->get()});
    *attributes = std::move(declared);
    return *attributes ? 0 : -1;
}

// The attributes of a node but for its operation, null for none. 0 or -1.
int node_attributes(const cmd_node *node, const element_name &name, const char *value,
                    path_scope scope, heap_text *attributes)
{
    if (node->operation == operation_set &&
        value_prefix_attribute(node->path, value, scope, attributes) != 0)
        return -1;
    if (path_levels(node->path) == 2 && prepend_path_namespace(node->path, attributes) != 0)
        return -1;
    return apply_name_prefix(name, attributes);
}

int append_opening_tag(text_buffer *out, std::string_view name, const char *attributes,
                       const char *operation)
{
    return text_append_all(
        out, {"<", name, attributes != nullptr ? " " : "", attributes != nullptr ? attributes : "",
              operation != nullptr ? " " : "", operation != nullptr ? operation : "", ">"});
}

int append_closing_tag(text_buffer *out, std::string_view name)
{
    return text_append_all(out, {"</", name, ">"});
}

// A masked value as element text.
int append_value(text_buffer *out, const char *masked)
{
    const heap_text plain = plain_value(masked);
    const heap_text escaped = plain ? escape_copy(plain.get()) : nullptr;
    return escaped ? text_append(out, escaped.get()) : -1;
}

// The declaration that a key value needs, as if the key leaf were set.
int key_attributes(const cmd_node *entry, std::string_view key, const char *value, path_scope scope,
                   heap_text *attributes)
{
    if (strchr(value, ':') == nullptr)
        return 0;
    const heap_text list_path = path_listing_parent(entry->path);
    const heap_text leaf_path = list_path ? text_concat({list_path.get(), "/", key}) : nullptr;
    return leaf_path ? value_prefix_attribute(leaf_path.get(), value, scope, attributes) : -1;
}

int append_key(text_buffer *out, const cmd_node *entry, std::string_view pair, path_scope scope)
{
    const std::string_view key = text_take(&pair, '=');
    const element_name name = element_name_of(key);
    const heap_text value = text_copy(pair);
    heap_text attributes;
    if (!value || key_attributes(entry, key, value.get(), scope, &attributes) != 0 ||
        apply_name_prefix(name, &attributes) != 0 ||
        append_opening_tag(out, name.local, attributes.get(), nullptr) != 0 ||
        append_value(out, value.get()) != 0)
        return -1;
    return append_closing_tag(out, name.local);
}

int append_keys(text_buffer *out, const cmd_node *entry, path_scope scope)
{
    std::string_view rest = node_last_component(entry).predicate;
    while (!rest.empty()) {
        if (append_key(out, entry, text_take(&rest, ','), scope) != 0)
            return -1;
    }
    return 0;
}

} // namespace

bool element_exists(const cmd_node *node)
{
    return path_levels(node->path) > 1;
}

int element_open(text_buffer *out, const cmd_node *node, element_detail detail, path_scope scope)
{
    const element_name name = name_of(node);
    const char *value = written_value(node, detail);
    const bool deletes = detail == element_with_changes && node->operation == operation_delete;
    heap_text attributes;
    if (node_attributes(node, name, value, scope, &attributes) != 0 ||
        append_opening_tag(out, name.local, attributes.get(),
                           deletes ? delete_attribute : nullptr) != 0)
        return -1;
    if (value == nullptr)
        return append_keys(out, node, scope);
    return append_value(out, value) != 0 ? -1 : append_closing_tag(out, name.local);
}

int element_close(text_buffer *out, const cmd_node *node, element_detail detail)
{
    if (written_value(node, detail) != nullptr)
        return 0;
    return append_closing_tag(out, name_of(node).local);
}
