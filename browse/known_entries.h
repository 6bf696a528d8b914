// The entries of a list that is asked for again and again.
//
// Each add-listentry asks for all entries of its list, and most get the answer that the
// one before got. Looking through it again would make the work that of the square of
// their number. So from one to the next the answer is kept and, once the same question
// has got it twice, a hash of each name in it. Where memory runs out, nothing is known.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string_view>

#include "link/exchange.h"

// Opened where lines are read; one at a time.
struct known_entries {
    bool is_wanted = false; // by the command that runs
    heap_text question;     // from the message id on; null for none
    reply_text answer;
    malloc_ptr<uint32_t> hashes; // sorted, of all names in the answer, as far as they are known
    size_t count = 0;
    size_t capacity = 0;

    known_entries();
    ~known_entries();
    known_entries(const known_entries &) = delete;
    known_entries &operator=(const known_entries &) = delete;
};

// The last answer, if it was to this request; known takes the request's text for its
// question.
reply_text known_entries_ask(known_entries *known, std::string_view request);

// Adds a name of the answer; sorts what was added.
void known_entries_add(known_entries *known, std::string_view name);
void known_entries_sort(known_entries *known);

// Where a command ends: forgets them unless it asked.
void known_entries_rest();

// Whether the answer surely holds no entry of this name.
bool known_entries_lack(const known_entries &known, std::string_view name);
