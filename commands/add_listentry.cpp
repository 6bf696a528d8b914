// The command add-listentry: a new entry of the list that is the workspace.
#include "commands/commands.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/session.h"
#include "base/text.h"
#include "browse/descendants.h"
#include "browse/server_read.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "commands/record_change.h"
#include "schema/key_set.h"
#include "schema/masking.h"
#include "schema/path.h"
#include "schema/schema_path.h"

namespace
{

const char list_workspace_only[] = "error: the add_listentry cmd only works at list's workspace \r";

int collect_pairs(const arg_words &words, key_value_set *pairs)
{
    if (key_values_create(pairs, static_cast<size_t>(words.argc / 2)) != 0)
        return -1;
    for (int i = 1; i + 1 < words.argc; i += 2) {
        if (key_values_add(pairs, words.argv[i], words.argv[i + 1]) != 0)
            return -1;
    }
    return 0;
}

// The workspace, when it is a configuration list; null with a message.
heap_text list_workspace()
{
    heap_text workspace = path_absolute(session.pwd);
    if (!workspace || path_outside_rpc(workspace.get()) ||
        !schema_path_of(workspace.get(), path_scope_session)) {
        printf("error parameter: %s\r\n", session.pwd);
        return nullptr;
    }
    if (path_is_list_entry(workspace.get())) {
        puts(list_workspace_only);
        return nullptr;
    }
    const record_pair pair = data_record_pair(workspace.get(), path_scope_session);
    if (!pair.node) {
        puts(list_workspace_only);
        return nullptr;
    }
    if (!record_is_config(pair.node.get())) {
        printf("%s's  not config node.\r\n", session.pwd);
        return nullptr;
    }
    if (record_kind(pair.node.get()) != node_kind_list) {
        puts(list_workspace_only);
        return nullptr;
    }
    return workspace;
}

// The masked name of the new entry; null with a message.
heap_text new_entry_name(const char *list_path, key_value_set *pairs)
{
    key_names keys;
    if (list_keys(list_path, &keys) != 0) {
        puts("failed to get list's keys \r");
        return nullptr;
    }
    heap_text name = entry_name(path_last_component(list_path), pairs, &keys);
    if (!name) {
        puts("failed to get list's key:value \r");
        return nullptr;
    }
    mask_path(name.get());
    return name;
}

bool is_on_server(const char *list_path, const char *name)
{
    descendant_set entries;
    return server_list_entries(list_path, &entries) == 0 && descendants_reach(&entries, name);
}

bool already_exists(const char *list_path, const char *name)
{
    if (local_entries_has(list_path, name) == 0 &&
        (session.rpc_path != nullptr || !is_on_server(list_path, name)))
        return false;
    printf("key:%s already exist!, use ls cmd to see the current keys\r\n", shown_text(name).get());
    return true;
}

void stage_entry(const char *list_path, const char *name, const char *entry_path)
{
    if (already_exists(list_path, name))
        return;
    if (local_entries_add(list_path, name) != 0) {
        puts("failed to add local list \r");
        return;
    }
    const int staged = session.rpc_path != nullptr
                           ? tree_stage_rpc(entry_path, nullptr, operation_set)
                           : tree_stage_config(entry_path, nullptr, operation_set);
    if (staged != 0)
        local_entries_forget(list_path, name);
}

} // namespace

int cmd_add_listentry(const char *line)
{
    const arg_words words(line);
    if (words.argc < 3 || words.argc % 2 == 0) {
        puts("wrong number of parameters\r");
        return 0;
    }
    key_value_set pairs;
    if (collect_pairs(words, &pairs) != 0)
        return 0;
    const heap_text list_path = list_workspace();
    const heap_text name = list_path ? new_entry_name(list_path.get(), &pairs) : nullptr;
    if (!name)
        return 0;
    const size_t list_name_length = strlen(path_last_component(list_path.get()));
    const heap_text entry_path = text_concat({list_path.get(), name.get() + list_name_length});
    if (!entry_path)
        return 0;
    if (session.oneshot != 0)
        record_entry(entry_path.get(), list_path.get(), name.get());
    else
        stage_entry(list_path.get(), name.get(), entry_path.get());
    return 0;
}
