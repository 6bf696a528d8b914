#include "tinyrl/history.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "heap.h"

namespace
{

// Writes a line for each entry; 0 or -1.
int write_entries(const struct history *history, FILE *file)
{
    for (size_t i = 0; i < history->length; i++) {
        if (fprintf(file, "%s\n", history->entries[i]->line) < 0)
            return -1;
    }
    return 0;
}

// Adds each line of the file; 0, or -1 when it cannot be read to its end.
int read_entries(struct history *history, FILE *file)
{
    char *memory = nullptr;
    size_t size = 0;
    while (getline(&memory, &size, file) >= 0) {
        memory[strcspn(memory, "\n")] = '\0';
        history_add(history, memory);
    }
    block_free(memory, size);
    return feof(file) != 0 ? 0 : -1;
}

} // namespace

int history_save(const struct history *history, const char *path)
{
    if (path == nullptr) {
        errno = EINVAL;
        return -1;
    }
    FILE *file = fopen(path, "we");
    if (file == nullptr)
        return -1;
    const int written = write_entries(history, file);
    const int closed = fclose(file);
    return written == 0 && closed == 0 ? 0 : -1;
}

int history_load(struct history *history, const char *path)
{
    if (path == nullptr) {
        errno = EINVAL;
        return -1;
    }
    FILE *file = fopen(path, "re");
    if (file == nullptr)
        return 0;
    const int result = read_entries(history, file);
    fclose(file);
    return result;
}
