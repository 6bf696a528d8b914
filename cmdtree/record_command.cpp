#include "cmdtree/record_command.h"

#include <string.h>

#include "schema/masking.h"
#include "shell/profile.h"
#include "shell/session.h"
#include "shell/text.h"

int record_command(const char *word, const char *path, const char *value)
{
    const heap_text plain = unmasked_copy(path);
    const bool has_value = value != nullptr;
    const heap_text line =
        plain ? text_concat({word, " ", plain.get(), has_value ? " " : "", has_value ? value : ""})
              : nullptr;
    if (!line)
        return -1;
    const bool is_rpc_input = session.rpc_path != nullptr && strcmp(word, "add") != 0;
    return profile_put_line(is_rpc_input ? "[rpc_para]" : "[config]", line.get(), profile_append);
}
