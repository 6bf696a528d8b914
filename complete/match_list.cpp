#include "complete/match_list.h"

#include <stdlib.h>
#include <string.h>

#include "base/growing_array.h"
#include "complete/line_scan.h"

match_list::~match_list()
{
    match_list_free(this);
}

int match_list_append(match_list *list, heap_text text)
{
    if (!text)
        return -1;
    void *entries = array_make_room(list->entry, list->count, &list->capacity, sizeof(char *));
    if (entries == nullptr)
        return -1;
    list->entry = static_cast<char **>(entries);
    list->entry[list->count++] = text.release();
    list->entry[list->count] = nullptr;
    return 0;
}

int match_add(const tinyrl *editor, size_t word_start, match_list *list, const char *candidate)
{
    if (!text_starts_with(candidate, typed_text(editor, word_start)))
        return 0;
    return match_list_append(list, text_copy(candidate));
}

void match_list_free(match_list *list)
{
    for (size_t i = 0; i < list->count; i++) {
        text_wipe(list->entry[i]);
        free(list->entry[i]);
    }
    free(list->entry);
    list->entry = nullptr;
    list->count = 0;
    list->capacity = 0;
}

size_t match_list_width(const match_list *list)
{
    size_t width = 0;
    for (size_t i = 0; i < list->count; i++) {
        const size_t length = strlen(list->entry[i]);
        width = length > width ? length : width;
    }
    return width;
}
