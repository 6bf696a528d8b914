// The command copy-config.
#include "commands/commands.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/log.h"
#include "commands/copy_request.h"

namespace
{

bool is_one_of(const char *word, std::initializer_list<std::string_view> names)
{
    for (const std::string_view name : names) {
        if (name == word)
            return true;
    }
    return false;
}

} // namespace

int cmd_copy_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 3) {
        puts("please input : copy-config source target\r");
        return 0;
    }
    const char *source = words.argv[1];
    const char *target = words.argv[2];
    if (!is_one_of(source, {"startup", "running", "candidate", "config"})) {
        puts("Please input correct source database (startup | running | candidate | config).\r");
        return 0;
    }
    if (!is_one_of(target, {"startup", "running", "candidate"})) {
        puts("Please input correct target database (startup | running | candidate).\r");
        return 0;
    }
    if (strcmp(source, target) == 0) {
        puts("target and source can't be same.\r");
        return 0;
    }
    log_debug("[DEBUG] source: %s\n\n", source);
    log_debug("[DEBUG] target: %s\n\n", target);
    copy_config(source, nullptr, target);
    return 0;
}
