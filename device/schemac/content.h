// What the schema database is to hold: the redis commands that fill it.
//
// All of it is gathered before the first command is sent, so that nothing
// reaches the database before the whole schema is known.
#ifndef VANDEL_SCHEMAC_CONTENT_H
#define VANDEL_SCHEMAC_CONTENT_H

#include <stdint.h>
#include <string>
#include <vector>

struct hash_field {
    std::string name;
    std::string value;
};

struct schema_content {
    std::vector<std::string> commands; // each a whole one, in the redis protocol
    uint64_t modules;
    uint64_t empty_modules; // left out, because nothing of them can be met
    uint64_t nodes;
    uint64_t bytes; // of keys, field names and values
};

// Appends the command that stores a hash, which must have a field.
void content_add_hash(schema_content *content, const std::string &key,
                      const std::vector<hash_field> &fields);

// The same for a hash that is no part of the schema and not counted; without
// fields nothing is appended.
void content_add_note(schema_content *content, const std::string &key,
                      const std::vector<hash_field> &fields);

#endif
