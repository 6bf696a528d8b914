#include "shell/arguments.h"

#include <utility>

namespace
{

// The words joined with single blanks; null when memory runs out.
heap_text join_words(int count, char **words)
{
    text_buffer line;
    for (int i = 0; i < count; i++) {
        if ((i > 0 && text_append(&line, " ") != 0) || text_append(&line, words[i]) != 0)
            return nullptr;
    }
    return std::move(line.data);
}

} // namespace

heap_text take_arguments(int count, char **arguments)
{
    if (count <= 0)
        return nullptr;
    heap_text line = join_words(count, arguments);
    for (int i = 0; i < count; i++)
        text_wipe(arguments[i]);
    return line;
}
