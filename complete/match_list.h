// Candidates for the word before the cursor, in the order in which they were
// offered, and what each of them means.
#pragma once

#include <stddef.h>
#include <string_view>

#include "arena.h"

struct tinyrl;

// Owns its texts; entry is ended by null, and null itself while the list is
// empty. Behind each candidate's end stands its help, a text of its own.
struct match_list {
    char **entry = nullptr;
    size_t count = 0;
    size_t capacity = 0; // slots of entry
    arena texts;

    match_list() = default;
    ~match_list();
    match_list(const match_list &) = delete;
    match_list &operator=(const match_list &) = delete;
};

// Appends copies of a candidate, with a suffix, and its help, empty for none; 0, or -1
// when memory runs out.
int match_list_append(match_list *list, std::string_view candidate, std::string_view help,
                      std::string_view suffix = "");

// The same if the candidate begins with what stands in the line from word_start to
// the cursor. A null help is none.
int match_add(const tinyrl *editor, size_t word_start, match_list *list, const char *candidate,
              const char *help = nullptr);

// Puts what all candidates begin with in place of what stands in the line from start
// to the cursor, unless that begins with it already; nothing for an empty list. Nothing
// is drawn. A failure is logged.
void match_list_insert_common(tinyrl *editor, size_t start, const match_list *list);

// Empties the list.
void match_list_free(match_list *list);

// Prints a line for each candidate: its name, in a column as wide as the longest one,
// and its help, both as tinyrl_print_safe shows them.
void match_list_print(tinyrl *editor, const match_list *list);
