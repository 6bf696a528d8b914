#include "schema/place.h"

#include <string.h>

#include "base/log.h"
#include "base/session.h"
#include "schema/database.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

place resolve(heap_text path, path_scope scope)
{
    place at = {std::move(path), nullptr, nullptr};
    at.schema_path = schema_path_of(at.path.get(), scope);
    if (at.schema_path)
        at.record = node_record(at.schema_path.get());
    return at;
}

heap_text join_to_workspace(const char *operand)
{
    if (*operand == '/')
        return text_copy(operand);
    if (text_starts_with(operand, "./"))
        operand += 2;
    return text_concat({session.pwd, "/", operand});
}

// In a list's workspace its entries are named like the list: /m/l/l[k=v] is
// /m/l[k=v], and a list has nothing else below it.
heap_text enter_list_workspace(heap_text path, const char *workspace)
{
    const size_t length = strlen(workspace);
    const bool continues = strlen(path.get()) > length && text_starts_with(path.get(), workspace) &&
                           path.get()[length] == '/';
    if (!continues || path_is_list_entry(workspace) ||
        place_kind(place_at(workspace, path_scope_session)) != node_kind_list)
        return path;
    const std::string_view name = path_last_component(workspace);
    const std::string_view continuation = path.get() + length + 1;
    if (!text_starts_with(continuation, name) || continuation.size() == name.size() ||
        continuation[name.size()] != '[')
        return nullptr;
    return text_concat({workspace, text_slice(continuation, name.size())});
}

// The schema path of the list: an entry's without its predicate.
std::string_view list_schema_path(const place &list)
{
    const std::string_view path = list.schema_path.get();
    return path_is_list_entry(list.path.get()) ? text_slice(path, 0, path.rfind('[')) : path;
}

} // namespace

heap_text path_absolute(const char *operand)
{
    if (session.pwd == nullptr || operand == nullptr)
        return nullptr;
    heap_text path = join_to_workspace(operand);
    if (!path)
        return nullptr;
    mask_path(path.get());
    path_collapse(path.get());
    if (!path_resolve_parents(path.get()))
        return nullptr;
    const heap_text workspace = masked_copy(session.pwd);
    if (!workspace)
        return nullptr;
    return enter_list_workspace(std::move(path), workspace.get());
}

place place_at(const char *path, path_scope scope)
{
    return resolve(path != nullptr ? text_copy(path) : nullptr, scope);
}

place place_of(const char *operand)
{
    return resolve(path_absolute(operand), path_scope_session);
}

place place_of_workspace()
{
    return place_of(session.pwd);
}

place place_within_rpc(const char *operand)
{
    heap_text path = path_absolute(operand);
    if (path && path_outside_rpc(path.get()))
        return {std::move(path), nullptr, nullptr};
    return resolve(std::move(path), path_scope_session);
}

place place_listing_parent(const place &at)
{
    return resolve(path_listing_parent(at.path.get()), path_scope_session);
}

bool place_is_known(const place &at)
{
    if (at.record || !at.schema_path || path_levels(at.schema_path.get()) != 1)
        return at.record != nullptr;
    const std::string_view module = path_module(at.schema_path.get());
    return module_is_known(text_slice(module, 0, module.find('[')));
}

unsigned place_kind(const place &at)
{
    return at.record ? record_kind(at.record.get()) : node_kind_module;
}

bool place_is_config(const place &at)
{
    return at.record && record_is_config(at.record.get());
}

bool place_takes_value(const place &at)
{
    const unsigned kind = place_kind(at);
    return kind == node_kind_leaf || kind == node_kind_leaf_list;
}

int list_keys(const place &list, key_names *keys)
{
    if (!list.schema_path)
        return -1;
    const std::string_view schema_path = list_schema_path(list);
    const hash_fields fields = schema_hash(schema_path);
    if (!fields.reply) {
        log_debug("[DEBUG] Failed to get %.*s from db\n", static_cast<int>(schema_path.size()),
                  schema_path.data());
        return -1;
    }
    for (size_t i = 0; i < fields.count; i++) {
        const std::string_view name = hash_field_name(fields, i);
        if (!is_path_step(name) || key_names_add(keys, name) != 0)
            return -1;
    }
    return 0;
}
