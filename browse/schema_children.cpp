// Children of a schema node, with its choices resolved.
//
// A choice shows up as its cases. Which case is active is not known to the
// schema: a case is active when the server holds data at one of its nodes, so
// each case asks, node by node, until the first hit. Inside an rpc there is no
// data and no case is active.
//
// A choice or case whose name is more than one step of a path is left out: it may
// have the path of another, and what is below would be kept again and again.
#include "browse/descendants.h"

#include "base/log.h"
#include "base/session.h"
#include "browse/server_read.h"
#include "schema/database.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

bool judge_case(case_entry *entry, const char *data_path);

bool has_data_node(const descendant_list *set, const char *data_path)
{
    for (const descendant *node = set->nodes; node != nullptr; node = node->next) {
        const heap_text path = text_concat({data_path, "/", node->name});
        if (path && server_has_data(path.get()))
            return true;
    }
    return false;
}

// The first case without data ends the search: the later ones are not asked.
bool has_active_nested_case(const descendant_list *set, const char *data_path)
{
    for (choice_entry *choice = set->choices; choice != nullptr; choice = choice->next) {
        if (choice->cases != nullptr)
            return judge_case(choice->cases, data_path);
    }
    return false;
}

bool judge_case(case_entry *entry, const char *data_path)
{
    entry->active = has_data_node(&entry->children, data_path) ||
                    has_active_nested_case(&entry->children, data_path);
    if (!entry->active)
        log_debug("[DEBUG] failed to get acitve case branch. \r\n\n");
    return entry->active;
}

int add_cases(const char *choice_path, const hash_fields &cases, const char *data_path,
              arena *memory, case_entry **tail)
{
    for (size_t i = 0; i < cases.count; i++) {
        if (hash_field_value(cases, i).size() < node_record_minimum ||
            !is_path_step(hash_field_name(cases, i)))
            continue;
        const heap_text case_path = text_concat({choice_path, "/", hash_field_name(cases, i)});
        auto *entry = static_cast<case_entry *>(arena_room(memory, sizeof(case_entry)));
        if (!case_path || entry == nullptr)
            return -1;
        *entry = {nullptr, {memory, nullptr, nullptr}, false};
        *tail = entry;
        tail = &entry->next;
        if (schema_children(case_path.get(), data_path, &entry->children) != 0)
            return -1;
        if (session.rpc_path == nullptr)
            judge_case(entry, data_path);
    }
    return 0;
}

int add_choice(const char *schema_path, std::string_view name, const char *data_path,
               descendant_list *set)
{
    const heap_text choice_path = text_concat({schema_path, "/", name});
    auto *choice = static_cast<choice_entry *>(arena_room(set->memory, sizeof(choice_entry)));
    if (!choice_path || choice == nullptr)
        return -1;
    *choice = {set->choices, nullptr};
    set->choices = choice;
    const hash_fields cases = schema_hash(choice_path.get());
    if (!cases.reply) {
        log_debug("[DEBUG] Failed to get %s:%s's  branch\n", shown_text(data_path).get(),
                  schema_path);
        return -1;
    }
    return add_cases(choice_path.get(), cases, data_path, set->memory, &choice->cases);
}

int add_child(const char *schema_path, std::string_view name, std::string_view record,
              const char *data_path, descendant_list *set)
{
    if (record.size() < node_record_minimum)
        return 0;
    if (is_record_of_kind(record, node_kind_choice))
        return is_path_step(name) ? add_choice(schema_path, name, data_path, set) : 0;
    return descendants_add(set, name, record);
}

} // namespace

int schema_children(const char *schema_path, const char *data_path, descendant_list *set)
{
    const hash_fields fields = schema_hash(schema_path);
    if (!fields.reply) {
        log_debug("[DEBUG] Failed to get entrys with key:%s from DB\n", schema_path);
        return 0;
    }
    const bool is_root = std::string_view(schema_path) == "/";
    for (size_t i = 0; i < fields.count; i++) {
        const std::string_view name = hash_field_name(fields, i);
        const int failed =
            is_root ? descendants_add(set, name, record_of_kind(node_kind_module))
                    : add_child(schema_path, name, hash_field_value(fields, i), data_path, set);
        if (failed != 0)
            return -1;
    }
    return 0;
}
