// What the schema database is to hold, handed on hash by hash.
#pragma once

#include <functional>
#include <string>
#include <vector>

struct hash_field {
    std::string name;
    std::string value;
};

// Takes a hash, which has a field.
using hash_sink = std::function<void(std::string key, std::vector<hash_field> fields)>;

// How much of each hash is wanted. Keys cost little: values are then empty.
enum content_depth {
    content_keys,
    content_values,
};

// Hands on all hashes, always the same in the same order. Those that readers begin
// with, which are no part of another, come last: the root and the notes.
using content_teller = std::function<void(content_depth depth, const hash_sink &sink)>;
