// History: an array of entries, oldest first.
//
// An entry's number tells it apart for good: numbers only grow. A line stands
// in the history once, at its latest use, so that walking back never shows the
// same line twice.
#include "tinyrl/history.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "heap.h"
#include "tinyrl/checks.h"

namespace
{

constexpr size_t growth = 10;
constexpr size_t slot_size = sizeof(history_entry *);

// Copies line into an entry that has no number yet.
history_entry *entry_new(const char *line)
{
    heap_text copy(strdup(line));
    auto *entry = static_cast<history_entry *>(calloc(1, sizeof(history_entry)));
    if (!copy || entry == nullptr) {
        free(entry);
        return nullptr;
    }
    entry->line = copy.release();
    return entry;
}

void free_entries(const struct history *history, size_t start, size_t end)
{
    tinyrl_check(start <= end, "start <= end", "history.c", "free_entries");
    tinyrl_check(end < history->length, "end < this->length", "history.c", "free_entries");
    for (size_t i = start; i <= end; i++) {
        history_entry_delete(history->entries[i]);
        history->entries[i] = nullptr;
    }
}

// Closes the gap of the entries from start to end, which are no longer ours.
void remove_entries(struct history *history, size_t start, size_t end)
{
    tinyrl_check(start <= end, "start <= end", "history.c", "remove_entries");
    tinyrl_check(end < history->length, "end < this->length", "history.c", "remove_entries");
    const size_t later = history->length - (end + 1);
    memmove(history->entries + start, history->entries + end + 1, later * slot_size);
    history->length -= end + 1 - start;
}

void drop_entries(struct history *history, size_t start, size_t end)
{
    free_entries(history, start, end);
    remove_entries(history, start, end);
}

// Puts entry into the last slot that length counts.
void insert_entry(struct history *history, history_entry *entry)
{
    tinyrl_check(history->length > 0, "this->length", "history.c", "insert_entry");
    tinyrl_check(history->entries != nullptr, "this->entries", "history.c", "insert_entry");
    entry->index = history->current_index++;
    history->entries[history->length - 1] = entry;
}

// Removes the entry that says line; returns whether there was one.
bool drop_duplicate(struct history *history, const char *line)
{
    for (size_t i = 0; i < history->length; i++) {
        if (strcmp(history->entries[i]->line, line) == 0) {
            drop_entries(history, i, i);
            return true;
        }
    }
    return false;
}

// Without memory the array stays as it is.
void grow(struct history *history)
{
    if (history->size > SIZE_MAX / slot_size - growth)
        return;
    const size_t size = history->size + growth;
    void *entries = realloc(history->entries, size * slot_size);
    if (entries != nullptr) {
        history->entries = static_cast<history_entry **>(entries);
        history->size = size;
    }
}

bool is_full(const struct history *history)
{
    return history->length > 0 && history->length == history->stifle;
}

// The iterator moves to position only if there is an entry.
const history_entry *move_to(history_iterator *iterator, size_t position)
{
    if (position >= iterator->history->length)
        return nullptr;
    iterator->position = position;
    return iterator->history->entries[position];
}

} // namespace

history history_with(size_t limit)
{
    return {nullptr, 0, 0, 1, limit};
}

void history_entry_delete(history_entry *entry)
{
    if (entry != nullptr) {
        text_free(entry->line);
        free(entry);
    }
}

void history_add(struct history *history, const char *line)
{
    // The copy comes first: line may belong to an entry that is about to go.
    history_entry *entry = entry_new(line);
    if (entry == nullptr)
        return;
    if (is_full(history)) {
        if (!drop_duplicate(history, entry->line))
            drop_entries(history, 0, 0);
    } else {
        if (history->length == history->size)
            grow(history);
        drop_duplicate(history, entry->line);
    }
    if (history->length < history->size) {
        history->length++;
        insert_entry(history, entry);
    } else {
        history_entry_delete(entry);
    }
}

history_entry *history_remove(struct history *history, size_t position)
{
    if (position >= history->length)
        return nullptr;
    history_entry *entry = history->entries[position];
    remove_entries(history, position, position);
    return entry;
}

void history_clear(struct history *history)
{
    if (history->length > 0)
        drop_entries(history, 0, history->length - 1);
    free(history->entries);
    history->entries = nullptr;
    history->size = 0;
}

void history_stifle(struct history *history, size_t limit)
{
    if (limit == 0)
        return;
    if (history->length > limit)
        drop_entries(history, 0, history->length - limit - 1);
    history->stifle = limit;
}

size_t history_unstifle(struct history *history)
{
    const size_t limit = history->stifle;
    history->stifle = 0;
    return limit;
}

bool history_is_stifled(const struct history *history)
{
    return history->stifle != 0;
}

const history_entry *history_get(const struct history *history, unsigned index)
{
    for (size_t i = 0; i < history->length; i++) {
        if (history->entries[i]->index == index)
            return history->entries[i];
    }
    return nullptr;
}

const history_entry *history_first(const struct history *history, history_iterator *iterator)
{
    *iterator = {history, 0};
    return move_to(iterator, 0);
}

const history_entry *history_last(const struct history *history, history_iterator *iterator)
{
    *iterator = {history, 0};
    return history->length > 0 ? move_to(iterator, history->length - 1) : nullptr;
}

const history_entry *history_next(history_iterator *iterator)
{
    return move_to(iterator, iterator->position + 1);
}

const history_entry *history_previous(history_iterator *iterator)
{
    return iterator->position > 0 ? move_to(iterator, iterator->position - 1) : nullptr;
}
