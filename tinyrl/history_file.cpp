#include "tinyrl/history.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "tinyrl/history_record.h"
#include "tinyrl/memory.h"

namespace
{

bool write_entries(const struct history *history, FILE *file)
{
    for (size_t i = 0; i < history->length; i++) {
        if (fprintf(file, "%s\n", history->entries[i]->line) < 0)
            return false;
    }
    return true;
}

// Reads the file line by line; false when it cannot be read to its end.
bool read_entries(struct history *history, FILE *file)
{
    char *memory = nullptr;
    size_t size = 0;
    while (getline(&memory, &size, file) >= 0) {
        memory[strcspn(memory, "\n")] = '\0';
        history_add(history, memory);
    }
    wipe_and_free(memory, size);
    return feof(file) != 0;
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
    bool is_written = write_entries(history, file);
    bool is_closed = fclose(file) == 0;
    return is_written && is_closed ? 0 : -1;
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
    bool is_read = read_entries(history, file);
    fclose(file);
    return is_read ? 0 : -1;
}
