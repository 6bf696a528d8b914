// The most recent distinct command lines, numbered, oldest first.
//
// Conventions: a history owns its entries and they own their text; what remove
// gives back belongs to the caller. Null means "none". Positions count from 0,
// the oldest. No pointer handed out survives a change of the history. Running
// out of memory leaves the history as it was, apart from what had to go first.
#pragma once

#include <stddef.h>

struct history_entry {
    char *line;
    unsigned index; // its number
};

struct history {
    history_entry **entries; // oldest first
    size_t length;
    size_t size;            // slots in entries
    unsigned current_index; // the number the next entry gets
    size_t stifle;          // the greatest length; 0: none
};

// A place in a history; it stays usable, though not at the same entry, when the
// history changes.
struct history_iterator {
    const struct history *history;
    size_t position;
};

// An empty history that keeps at most limit lines (0: any number).
history history_with(size_t limit);

// Appends a copy of line under the next number. An equal line is taken out
// first; a full history otherwise loses its oldest.
void history_add(struct history *history, const char *line);

// Takes the entry at position out and gives it to the caller, who frees it with
// history_entry_delete; null when there is no such position.
history_entry *history_remove(struct history *history, size_t position);

// Removes every entry and frees all memory; numbers go on where they were.
void history_clear(struct history *history);

// Limits the length, removing the oldest beyond it; 0 is ignored.
void history_stifle(struct history *history, size_t limit);

// Lifts the limit and returns what it was (0: there was none).
size_t history_unstifle(struct history *history);

bool history_is_stifled(const struct history *history);

// The entry with this number, or null.
const history_entry *history_get(const struct history *history, unsigned index);

// Set *iterator to the oldest or the newest entry and return it; null when the
// history is empty.
const history_entry *history_first(const struct history *history, history_iterator *iterator);
const history_entry *history_last(const struct history *history, history_iterator *iterator);

// Step to the newer or the older neighbour and return it. At the end there is
// none: they return null and the iterator stays where it is.
const history_entry *history_next(history_iterator *iterator);
const history_entry *history_previous(history_iterator *iterator);

// Replaces references such as "!!", "!12" and "!-2" in text by the lines they
// name. *result becomes a new heap string, the caller's, or null when memory
// runs out. Returns whether anything was replaced.
bool history_expand(const struct history *history, const char *text, char **result);

// Writes the lines to the file at path, oldest first. Returns 0, or -1 when
// path is null (errno EINVAL) or the file cannot be opened or written.
int history_save(const struct history *history, const char *path);

// Adds each line of the file at path. Returns 0, also when the file cannot be
// opened; -1 when path is null (errno EINVAL) or reading fails.
int history_load(struct history *history, const char *path);

// Frees an entry that history_remove returned; null is allowed.
void history_entry_delete(history_entry *entry);
