#include "complete/match_list.h"

#include <stdlib.h>
#include <string.h>

#include "base/growing_array.h"
#include "base/log.h"
#include "complete/line_scan.h"
#include "tinyrl/tinyrl.h"

namespace
{

constexpr std::string_view end_of_text("\0", 1);

} // namespace

match_list::~match_list()
{
    match_list_free(this);
}

int match_list_append(match_list *list, std::string_view candidate, std::string_view help,
                      std::string_view suffix)
{
    char *text = arena_concat(&list->texts, {candidate, suffix, end_of_text, help});
    void *entries = text != nullptr
                        ? array_make_room(list->entry, list->count, &list->capacity, sizeof(char *))
                        : nullptr;
    if (entries == nullptr)
        return -1;
    list->entry = static_cast<char **>(entries);
    list->entry[list->count++] = text;
    list->entry[list->count] = nullptr;
    return 0;
}

int match_add(const tinyrl *editor, size_t word_start, match_list *list, const char *candidate,
              const char *help)
{
    if (!text_starts_with(candidate, typed_text(editor, word_start)))
        return 0;
    return match_list_append(list, candidate, help != nullptr ? help : "");
}

void match_list_insert_common(tinyrl *editor, size_t start, const match_list *list)
{
    if (list->count == 0)
        return;
    const char *first = list->entry[0];
    const size_t length = tinyrl_common_length(list->entry);
    if (!text_starts_with(typed_text(editor, start), {first, length}) &&
        !replace_typed(editor, start, first, length))
        log_error("[ERROR] tinyrl insert matches[0]=%s len=%d fail.\n", first,
                  static_cast<int>(length));
}

void match_list_free(match_list *list)
{
    arena_clear(&list->texts);
    free(list->entry);
    list->entry = nullptr;
    list->count = 0;
    list->capacity = 0;
}

void match_list_print(tinyrl *editor, const match_list *list)
{
    size_t width = 0;
    for (size_t i = 0; i < list->count; i++) {
        const size_t length = strlen(list->entry[i]);
        width = length > width ? length : width;
    }
    for (size_t i = 0; i < list->count; i++) {
        const char *name = list->entry[i];
        tinyrl_print_safe(editor, "", 2);
        tinyrl_print_safe(editor, name, width);
        tinyrl_print_safe(editor, "", 4);
        tinyrl_print_safe(editor, name + strlen(name) + 1, 0);
        tinyrl_crlf(editor);
    }
}
