// The command add-listentry: a new entry of the list that is the workspace.
#include "commands/commands.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/session.h"
#include "base/text.h"
#include "commands/staging.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

int collect_pairs(const arg_words &words, key_value_set *pairs)
{
    for (int i = 1; i + 1 < words.argc; i += 2) {
        if (key_values_add(pairs, words.argv[i], words.argv[i + 1]) != 0)
            return -1;
    }
    return 0;
}

// The workspace, when it is a configuration list; one without a path, with a message,
// when it is none.
place list_workspace()
{
    place list = place_within_rpc(session.pwd);
    const bool is_node = list.record && !path_is_list_entry(list.path.get());
    if (!list.schema_path)
        printf("error parameter: %s\r\n", session.pwd);
    else if (is_node && !place_is_config(list))
        printf("%s's  not config node.\r\n", session.pwd);
    else if (!is_node || place_kind(list) != node_kind_list)
        puts("error: the add_listentry cmd only works at list's workspace \r");
    else
        return list;
    return {};
}

// The masked name of the new entry; null with a message.
heap_text new_entry_name(const place &list, key_value_set *pairs)
{
    key_names keys;
    if (list_keys(list, &keys) != 0) {
        puts("failed to get list's keys \r");
        return nullptr;
    }
    heap_text name = entry_name(path_last_component(list.path.get()), pairs, &keys);
    if (!name) {
        puts("failed to get list's key:value \r");
        return nullptr;
    }
    mask_path(name.get());
    return name;
}

} // namespace

int cmd_add_listentry(const char *line)
{
    const arg_words words(line);
    if (words.argc < 3 || words.argc % 2 == 0) {
        puts("wrong number of parameters\r");
        return 0;
    }
    key_value_set pairs(static_cast<size_t>(words.argc / 2));
    if (collect_pairs(words, &pairs) != 0)
        return 0;
    const place list = list_workspace();
    const heap_text name = list.path ? new_entry_name(list, &pairs) : nullptr;
    if (!name)
        return 0;
    const char *list_path = list.path.get();
    const size_t list_name_length = strlen(path_last_component(list_path));
    const heap_text entry_path = text_concat({list_path, name.get() + list_name_length});
    if (entry_path)
        stage_entry(list, name.get(), entry_path.get());
    return 0;
}
