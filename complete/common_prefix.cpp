#include "complete/common_prefix.h"

#include <string.h>

#include "base/log.h"
#include "complete/line_scan.h"

void common_prefix_add(common_prefix *prefix, const char *candidate)
{
    if (prefix->first == nullptr) {
        prefix->first = candidate;
        prefix->length = strlen(candidate);
        return;
    }
    size_t same = 0;
    while (same < prefix->length && candidate[same] == prefix->first[same])
        same++;
    prefix->length = same;
}

void common_prefix_insert(tinyrl *editor, size_t start, const common_prefix *prefix)
{
    if (text_starts_with(typed_text(editor, start), {prefix->first, prefix->length}))
        return;
    if (!replace_typed(editor, start, prefix->first, prefix->length))
        log_error("[ERROR] tinyrl insert matches[0]=%s len=%d fail.\n", prefix->first,
                  static_cast<int>(prefix->length));
}

void common_prefix_insert_of(tinyrl *editor, size_t start, const match_list *list)
{
    common_prefix prefix;
    for (size_t i = 0; i < list->count; i++)
        common_prefix_add(&prefix, list->entry[i]);
    common_prefix_insert(editor, start, &prefix);
}
