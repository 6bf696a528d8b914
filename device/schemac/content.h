// What the schema database is to hold, handed on hash by hash.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct content_hash {
    std::string key;
    size_t count;      // of fields
    std::string words; // of redis's protocol: the fields' names, each with its value after it
};

// Appends one word of redis's protocol.
void content_append_word(std::string *words, std::string_view word);

void content_add_field(content_hash *hash, std::string_view name, std::string_view value);

// Names and values of the fields that such words are, which they belong to.
std::vector<std::pair<std::string_view, std::string_view>> content_fields(std::string_view words);

// Takes a hash, which has a field.
using hash_sink = std::function<void(const content_hash &hash)>;

// How much of each hash is wanted. Keys cost little: fields may then only be counted.
enum content_depth {
    content_keys,
    content_values,
};

// Hands on all hashes, always the same in the same order. Those that readers begin
// with, which are no part of another, come last: the root and the notes.
using content_teller = std::function<void(content_depth depth, const hash_sink &sink)>;
