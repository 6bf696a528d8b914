// The command copy-config.
#include "commands/commands.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/log.h"
#include "commands/copy_request.h"

int cmd_copy_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 3) {
        puts("please input : copy-config source target\r");
        return 0;
    }
    const char *source = words.argv[1];
    const char *target = words.argv[2];
    if (datastore_code(source) > datastore_config) {
        puts("Please input correct source database (startup | running | candidate | config).\r");
        return 0;
    }
    if (datastore_code(target) > datastore_startup) {
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
