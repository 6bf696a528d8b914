#include "browse/descendants.h"

#include <string.h>

#include "base/log.h"
#include "base/session.h"
#include "browse/server_read.h"
#include "cmdtree/tree.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

// A node in its block. The bytes of its record follow, then its name.
struct added_node {
    descendant node;
    schema_record record;
};

// Takes the children of the node from the schema.
bool browses_schema(unsigned kind, const char *path)
{
    switch (kind) {
    case node_kind_module:
    case node_kind_container:
    case node_kind_browsable:
        return true;
    case node_kind_input:
        return session.rpc_path != nullptr;
    case node_kind_list:
        return path_is_list_entry(path);
    default:
        return false;
    }
}

int add_staged_entries(const char *list_path, descendant_list *set)
{
    for (const cmd_node *node = tree_first_entry(staged_tree(), list_path); node != nullptr;
         node = tree_next_entry(node, list_path)) {
        if (node->operation == operation_delete)
            continue;
        if (descendants_add(set, path_last_component(node->path), record_of_kind(node_kind_list)) !=
            0)
            return -1;
    }
    return 0;
}

// Takes out of the set, of its entries before `first_staged`, those that it has as
// staged ones, too.
int remove_staged(const char *list_path, const descendant *first_staged, descendant_list *set)
{
    const size_t name_length = strlen(path_last_component(list_path));
    descendant **link = &set->nodes;
    while (*link != first_staged) {
        descendant *node = *link;
        const heap_text path = text_concat({list_path, node->name + name_length});
        if (!path)
            return -1;
        const cmd_node *staged = tree_find(staged_tree(), path.get());
        if (staged != nullptr && staged->operation != operation_delete)
            *link = node->next;
        else
            link = &node->next;
    }
    return 0;
}

int add_list_entries(const place &list, descendant_list *set)
{
    const char *list_path = list.path.get();
    if (add_staged_entries(list_path, set) != 0)
        return -1;
    if (session.rpc_path != nullptr)
        return 0;
    descendant *first_staged = set->nodes;
    if (server_list_entries(list, set) != 0) {
        log_debug("[DEBUG] error:get nclist \r\n \n");
        set->nodes = first_staged;
        return 0;
    }
    return remove_staged(list_path, first_staged, set);
}

} // namespace

int descendants_add(descendant_list *set, std::string_view name, std::string_view record)
{
    const added_node added = {{set->nodes, nullptr, nullptr}, {record.size()}};
    const std::string_view head(reinterpret_cast<const char *>(&added), sizeof added);
    char *block = arena_concat(set->memory, {head, record, name});
    if (block == nullptr)
        return -1;
    added_node *made = reinterpret_cast<added_node *>(block);
    made->node.name = block + sizeof added + record.size();
    made->node.record = &made->record;
    set->nodes = &made->node;
    return 0;
}

int descendants_of(const place &at, descendant_list *set)
{
    const char *path = at.path.get();
    if (!at.schema_path) {
        log_error("[ERROR] error parameter: %s\r\n\n", shown_text(path).get());
        return -1;
    }
    if (path_levels(path) == 1)
        return schema_children(at.schema_path.get(), path, set);
    if (!at.record)
        return -1;
    const unsigned kind = place_kind(at);
    if (browses_schema(kind, path)) {
        if (schema_children(at.schema_path.get(), path, set) == 0)
            return 0;
        log_error("[ERROR] error:get descendant by schema \r\n \n");
        return -1;
    }
    return kind == node_kind_list ? add_list_entries(at, set) : 0;
}

const case_entry *choice_active_case(const choice_entry *choice)
{
    const case_entry *entry = choice->cases;
    while (entry != nullptr && !entry->active)
        entry = entry->next;
    return entry;
}

bool descendants_reach(const descendant_list *set, const char *name)
{
    for (const descendant *node = set->nodes; node != nullptr; node = node->next) {
        if (strcmp(node->name, name) == 0)
            return true;
    }
    for (const choice_entry *choice = set->choices; choice != nullptr; choice = choice->next) {
        const case_entry *active = choice_active_case(choice);
        if (active != nullptr) {
            if (descendants_reach(&active->children, name))
                return true;
            continue;
        }
        for (const case_entry *entry = choice->cases; entry != nullptr; entry = entry->next) {
            if (descendants_reach(&entry->children, name))
                return true;
        }
    }
    return false;
}
