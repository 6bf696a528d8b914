#include "profile/profile_line.h"

#include <string.h>

#include "schema/masking.h"

namespace
{

bool names_entry(const char *word)
{
    return strcmp(word, "add") == 0;
}

bool reads_back(const char *line, const char *word, const char *path, const char *last)
{
    const profile_words words(line);
    return words.argc == (last != nullptr ? 3 : 2) && strcmp(words.argv[0], word) == 0 &&
           strcmp(words.argv[1], path) == 0 &&
           (last == nullptr || strcmp(words.argv[2], last) == 0);
}

} // namespace

profile_words::profile_words(const char *line) : arg_words(line)
{
    if (argc > 1)
        mask_path(argv[1]);
    if (argc > 2 && names_entry(argv[0]))
        mask_path(argv[2]);
}

int profile_take_path(char **slot, const char *line)
{
    if (line == nullptr || *line != '/')
        return 0;
    heap_text copy = text_copy(line);
    if (!copy)
        return -1;
    text_replace(slot, std::move(copy));
    return 0;
}

heap_text profile_line(const char *word, const char *path, const char *last)
{
    const heap_text shown_path = unmasked_copy(path);
    heap_text written_last = last != nullptr ? text_copy(last) : text_copy("");
    if (!shown_path || !written_last)
        return nullptr;
    if (names_entry(word))
        unmask_all(written_last.get());
    heap_text line =
        text_concat({word, " ", shown_path.get(), last != nullptr ? " " : "", written_last.get()});
    return line && reads_back(line.get(), word, path, last) ? std::move(line) : nullptr;
}
