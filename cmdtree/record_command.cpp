#include "cmdtree/record_command.h"

#include "shell/profile.h"
#include "shell/profile_line.h"
#include "shell/session.h"
#include "shell/text.h"

namespace
{

const char config_section[] = "[config]";

int put_change(const char *line)
{
    const char *section = session.rpc_path != nullptr ? "[rpc_para]" : config_section;
    return profile_put_line(section, line, profile_append);
}

} // namespace

int record_command(const char *word, const char *path, const char *value)
{
    const heap_text line = profile_line(word, path, value);
    return line ? put_change(line.get()) : -1;
}

int record_entry(const char *entry_path, const char *list_path, const char *name)
{
    const heap_text set_line = profile_line("set", entry_path, nullptr);
    const heap_text add_line = profile_line("add", list_path, name);
    if (!set_line || !add_line || put_change(set_line.get()) != 0)
        return -1;
    return profile_put_line(config_section, add_line.get(), profile_append);
}
