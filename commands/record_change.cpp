#include "commands/record_change.h"

#include "base/session.h"
#include "base/text.h"
#include "cmdtree/element_name.h"
#include "profile/profile.h"
#include "profile/profile_line.h"

namespace
{

const char config_section[] = "[config]";

// The line of a change; null when it cannot be staged or read back.
heap_text change_line(const char *word, const char *path, const char *value)
{
    return path_names_elements(path) ? profile_line(word, path, value) : nullptr;
}

int put_change(const char *line)
{
    const char *section = session.rpc_path != nullptr ? "[rpc_para]" : config_section;
    return profile_put_line(section, line, profile_append);
}

} // namespace

int record_command(const char *word, const char *path, const char *value)
{
    const heap_text line = change_line(word, path, value);
    return line ? put_change(line.get()) : -1;
}

int record_entry(const char *entry_path, const char *list_path, const char *name)
{
    const heap_text set_line = change_line("set", entry_path, nullptr);
    const heap_text add_line = profile_line("add", list_path, name);
    if (!set_line || !add_line || put_change(set_line.get()) != 0)
        return -1;
    return profile_put_line(config_section, add_line.get(), profile_append);
}
