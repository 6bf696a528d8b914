// Replay of the profile: a state for each section, entered by its header line.
#include "profile/profile.h"

#include <errno.h>
#include <string.h>

#include "base/log.h"
#include "base/session.h"
#include "base/text.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "profile/profile_file.h"
#include "profile/profile_line.h"
#include "schema/masking.h"

namespace
{

enum replay_state {
    replay_start,
    replay_pwd,
    replay_config,
    replay_rpc,
    replay_rpc_parameters,
    replay_end,
};

// Takes one line of a section and may enter the next; 0 or -1.
using line_handler = int(const char *line, replay_state *state);

int take_pwd(const char *line, replay_state *state)
{
    if (*state == replay_start) {
        if (strcmp(line, "[pwd]") == 0) {
            *state = replay_pwd;
            return 0;
        }
        log_debug("[DEBUG] err:%s's first line must be: [pwd]\n", profile_name);
        *state = replay_end;
        return -1;
    }
    if (strcmp(line, "[config]") == 0) {
        *state = replay_config;
        return 0;
    }
    return profile_take_path(&session.pwd, line);
}

int stage_delete(const char *path, const char *value)
{
    if (tree_stage_config(path, value, operation_delete) != 0)
        return -1;
    local_entries_forget_deleted(path);
    return 0;
}

int add_entry(const char *list_path, const char *key)
{
    return key != nullptr ? local_entries_add(list_path, key) : -1;
}

int take_config(const char *line, replay_state *state)
{
    if (strcmp(line, "[rpc]") == 0) {
        *state = replay_rpc;
        return 0;
    }
    const profile_words words(line);
    if (words.argc < 2 || words.argc > 3)
        return -1;
    const char *word = words.argv[0];
    const char *path = words.argv[1];
    const char *value = words.argv[2]; // null after the last word
    if (strcmp(word, "set") == 0)
        return tree_stage_config(path, value, operation_set);
    if (strcmp(word, "delete") == 0)
        return stage_delete(path, value);
    if (strcmp(word, "add") == 0)
        return add_entry(path, value);
    log_debug("[DEBUG] invalid format:%s\n", line);
    return -1;
}

int take_rpc(const char *line, replay_state *state)
{
    if (strcmp(line, "[rpc_para]") == 0) {
        *state = replay_rpc_parameters;
        return 0;
    }
    if (profile_take_path(&session.rpc_path, line) != 0)
        return -1;
    if (session.rpc_path != nullptr)
        mask_path(session.rpc_path);
    return 0;
}

int take_rpc_parameter(const char *line, replay_state *state)
{
    if (strcmp(line, "%%%") == 0) {
        *state = replay_end;
        return 0;
    }
    const profile_words words(line);
    if (words.argc < 2 || words.argc > 3 || strcmp(words.argv[0], "set") != 0)
        return -1;
    return tree_stage_rpc(words.argv[1], words.argv[2], operation_set);
}

line_handler *const handlers[replay_end] = {take_pwd, take_pwd, take_config, take_rpc,
                                            take_rpc_parameter};

// Hands over each line; the failure of a handler that had no memory shows in
// errno.
profile_replay_result replay_lines(std::string_view rest)
{
    replay_state state = replay_start;
    while (!rest.empty() && state != replay_end) {
        errno = 0;
        // Up to a zero byte: the copy is wiped as a text, and ends there for the handlers.
        std::string_view line = text_take(&rest, '\n');
        const heap_text copy = text_copy(text_take(&line, '\0'));
        if (!copy)
            return profile_unread;
        if (*copy != '\0' && handlers[state](copy.get(), &state) != 0)
            return errno == ENOMEM ? profile_unread : profile_refused;
    }
    return profile_replayed;
}

} // namespace

profile_replay_result profile_load()
{
    const descriptor file(profile_open(O_RDONLY));
    if (file.fd < 0) {
        if (errno == ENOENT)
            return profile_replayed;
        log_debug("[DEBUG] open %s failed! errno:%d\n", profile_name, errno);
        return profile_unopened;
    }
    text_buffer content;
    if (profile_read(file.fd, 0, profile_end, &content) != 0)
        return profile_unread;
    return replay_lines({content.data.get(), content.length});
}
