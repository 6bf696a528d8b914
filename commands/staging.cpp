// A mode is a row of functions. Which row holds is asked here and nowhere else.
#include "commands/staging.h"

#include <stdio.h>

#include "base/session.h"
#include "browse/descendants.h"
#include "browse/server_read.h"
#include "cmdtree/forget_entries.h"
#include "cmdtree/local_entries.h"
#include "commands/record_change.h"
#include "schema/masking.h"

namespace
{

struct staging_mode {
    int (*change)(cmd_operation operation, const place &at, const char *value);
    void (*entry)(const place &list, const char *name, const char *entry_path);
    profile_replay_result (*restore)();
    int (*discard)();
    int (*keep)();
    int (*keep_line)(const char *section, const char *line, profile_mode mode);
};

int change_tree(cmd_operation operation, const place &at, const char *value)
{
    const char *path = at.path.get();
    if (tree_stage(staged_tree(), path, at.record.get(), value, operation) != 0)
        return -1;
    if (operation == operation_delete)
        forget_deleted_entries(path);
    return 0;
}

bool is_on_server(const place &list, const char *name)
{
    descendant_set entries;
    return server_list_entries(list, &entries) == 0 && descendants_reach(&entries, name);
}

// An rpc's input is on no server.
bool is_taken(const place &list, const char *name)
{
    return local_entries_has(list.path.get(), name) != 0 ||
           (session.rpc_path == nullptr && is_on_server(list, name));
}

void add_entry(const place &list, const char *name, const char *entry_path)
{
    const char *list_path = list.path.get();
    if (is_taken(list, name)) {
        printf("key:%s already exist!, use ls cmd to see the current keys\r\n",
               shown_text(name).get());
        return;
    }
    if (local_entries_add(list_path, name) != 0) {
        puts("failed to add local list \r");
        return;
    }
    if (tree_stage(staged_tree(), entry_path, list.record.get(), nullptr, operation_set) != 0)
        local_entries_forget(list_path, name);
}

int discard_tree()
{
    tree_free(staged_tree());
    local_entries_forget(session.rpc_path, nullptr);
    return 0;
}

// A delete is recorded without a value, and the operator is not told that it could
// not be.
int record_change(cmd_operation operation, const place &at, const char *value)
{
    if (operation == operation_set)
        return record_command("set", at.path.get(), value);
    record_command("delete", at.path.get(), nullptr);
    return 0;
}

void record_new_entry(const place &list, const char *name, const char *entry_path)
{
    record_entry(entry_path, list.path.get(), name);
}

constexpr staging_mode at_prompt = {
    change_tree,  add_entry,        [] { return profile_replayed; },
    discard_tree, [] { return 0; }, [](const char *, const char *, profile_mode) { return 0; },
};

constexpr staging_mode in_profile = {
    record_change,       record_new_entry,   profile_load,
    profile_write_fresh, profile_write_back, profile_put_line,
};

const staging_mode &mode()
{
    return session.oneshot != 0 ? in_profile : at_prompt;
}

} // namespace

int stage_change(cmd_operation operation, const place &at, const char *value)
{
    return mode().change(operation, at, value);
}

void stage_entry(const place &list, const char *name, const char *entry_path)
{
    mode().entry(list, name, entry_path);
}

profile_replay_result staged_restore()
{
    return mode().restore();
}

void staged_discard()
{
    mode().discard();
}

void staged_keep()
{
    mode().keep();
}

void session_keep(const char *section, const char *line)
{
    mode().keep_line(section, line, profile_replace);
}
