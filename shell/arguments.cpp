#include "shell/arguments.h"

#include <string.h>

namespace
{

// The words joined with single blanks; null when memory runs out.
heap_text join_words(int count, char **words)
{
    heap_text line(strdup(words[0]));
    for (int i = 1; i < count && line; i++)
        line.reset(str_join3(line.get(), " ", words[i]));
    return line;
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
