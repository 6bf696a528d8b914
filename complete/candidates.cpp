#include "complete/candidates.h"

#include "base/log.h"
#include "schema/database.h"
#include "schema/key_set.h"
#include "schema/place.h"

namespace
{

// From the last field to the first, the order in which children are listed.
// The root holds module records, which have no kind.
int add_rpc_names(const tinyrl *editor, size_t word_start, match_list *list)
{
    const place workspace = place_of_workspace();
    if (!workspace.schema_path || std::string_view(workspace.schema_path.get()) == "/")
        return 0;
    const hash_fields children = schema_hash(workspace.schema_path.get());
    for (size_t i = children.count; i > 0; i--) {
        if (!is_record_of_kind(hash_field_value(children, i - 1), node_kind_rpc))
            continue;
        const heap_text name = text_copy(hash_field_name(children, i - 1));
        if (!name || match_add(editor, word_start, list, name.get()) != 0)
            return -1;
    }
    return 0;
}

// Reads the keys of the list that is the workspace, or of which it is an entry.
// False when the workspace is anything else, or its keys cannot be read.
bool read_list_keys(key_names *keys)
{
    const place workspace = place_of_workspace();
    return place_kind(workspace) == node_kind_list && list_keys(workspace, keys) == 0;
}

// Whether the name is among the first, third, fifth ... of the words.
bool is_typed_key(std::string_view words, std::string_view name)
{
    std::string_view key;
    std::string_view value;
    while (next_word(&words, &key)) {
        if (same_key(key, name))
            return true;
        next_word(&words, &value);
    }
    return false;
}

} // namespace

int add_command_names(const tinyrl *editor, size_t word_start, match_list *list, size_t *commands)
{
    for (const cmd_entry *entry = command_rows(); entry->name != nullptr; entry++) {
        if (match_add(editor, word_start, list, entry->name, entry->help) != 0)
            return -1;
    }
    *commands = list->count;
    return add_rpc_names(editor, word_start, list);
}

int add_range_values(const tinyrl *editor, size_t word_start, const arg_desc *argument,
                     std::string_view excluded, match_list *list)
{
    if (argument == nullptr || argument->range == nullptr) {
        log_error("[ERROR] range is NULL.\n");
        return 0;
    }
    for (const range_item *item = argument->range; item->value != nullptr; item++) {
        if (excluded != item->value &&
            match_add(editor, word_start, list, item->value, item->help) != 0)
            return -1;
    }
    return 0;
}

int add_list_keys(const tinyrl *editor, const line_scan *scan, match_list *list)
{
    const std::string_view words = words_before(scan);
    const size_t count = count_words_before(scan).count;
    key_names keys;
    if (count % 2 != 0 || !read_list_keys(&keys) || count / 2 > keys.count)
        return 0;
    for (size_t i = 0; i < keys.count; i++) {
        if (!is_typed_key(words, keys.name[i]) &&
            match_add(editor, scan->word_start, list, keys.name[i]) != 0)
            return -1;
    }
    return 0;
}

const cmd_entry *typed_command(const line_scan *scan)
{
    const heap_text name = text_copy(command_word(scan));
    if (!name) {
        log_error("[ERROR] [complete] malloc cmd is NULL !\n\n");
        return nullptr;
    }
    return command_find(command_rows(), name.get());
}

const arg_desc *command_argument(const cmd_entry *command, size_t index)
{
    const arg_desc *argument = command->args;
    for (; index > 0 && argument->name != nullptr; index--)
        argument++;
    return argument->name != nullptr ? argument : nullptr;
}
