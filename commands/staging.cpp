// A mode is a row of functions. Which row holds is asked here and nowhere else.
#include "commands/staging.h"

#include <stdio.h>

#include "base/session.h"
#include "browse/server_read.h"
#include "cmdtree/element_name.h"
#include "cmdtree/local_entries.h"
#include "profile/profile_line.h"
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
        local_entries_forget_deleted(path);
    return 0;
}

// An rpc's input is on no server.
bool is_taken(const place &list, const char *name)
{
    return local_entries_has(list.path.get(), name) != 0 ||
           (session.rpc_path == nullptr && server_has_entry(list, name));
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

const char config_section[] = "[config]";

// The line of a change; null when it cannot be staged or read back.
heap_text change_line(const char *word, const char *path, const char *value)
{
    return path_names_elements(path) ? profile_line(word, path, value) : nullptr;
}

int put_change(const heap_text &line)
{
    const char *section = session.rpc_path != nullptr ? "[rpc_para]" : config_section;
    return line ? profile_put_line(section, line.get(), profile_append) : -1;
}

// A delete is recorded without a value, and the operator is not told when it is not.
int record_change(cmd_operation operation, const place &at, const char *value)
{
    if (operation == operation_set)
        return put_change(change_line("set", at.path.get(), value));
    put_change(change_line("delete", at.path.get(), nullptr));
    return 0;
}

// Two lines, or none when either could not be read back.
void record_entry(const place &list, const char *name, const char *entry_path)
{
    const heap_text add_line = profile_line("add", list.path.get(), name);
    if (add_line && put_change(change_line("set", entry_path, nullptr)) == 0)
        profile_put_line(config_section, add_line.get(), profile_append);
}

constexpr staging_mode at_prompt = {
    change_tree,  add_entry,        [] { return profile_replayed; },
    discard_tree, [] { return 0; }, [](const char *, const char *, profile_mode) { return 0; },
};

constexpr staging_mode in_profile = {
    record_change,       record_entry,       profile_load,
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
