#include "cmdtree/forget_entries.h"

#include <stdio.h>
#include <string.h>

#include "base/text.h"
#include "cmdtree/local_entries.h"
#include "schema/masking.h"

void forget_deleted_entries(const char *path)
{
    const char *predicate = strrchr(path, '[');
    if (predicate == nullptr) {
        local_entries_forget(path, nullptr);
        return;
    }
    const char *slash = strrchr(path, '/');
    if (slash == nullptr) {
        printf("delete cmdpath err %s!\r\n", shown_text(path).get());
        return;
    }
    const std::string_view list_path(path, static_cast<size_t>(predicate - path));
    local_entries_forget_below(list_path, slash + 1);
}
