// The last line of a text that comes in pieces and may never end.
#pragma once

#include <stddef.h>
#include <string_view>

constexpr size_t last_words_size = 200;

// All zero: nothing was said.
struct last_words {
    char text[last_words_size]; // zero-terminated; what passes its size is left out
    size_t size;
    bool is_ended; // what comes next begins a line
};

// Takes the next piece. Lines without a word do not count.
void last_words_add(last_words *words, std::string_view piece);
