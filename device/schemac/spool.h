// A file of redis commands that waits to be sent.
//
// The compiler writes it, the publisher reads it when all is well: nothing
// reaches the database before the whole schema is known. The file has no name
// and vanishes with its last descriptor. Each command is stored as its length,
// a 32-bit number of this machine, and its text in the redis protocol.
#ifndef VANDEL_SCHEMAC_SPOOL_H
#define VANDEL_SCHEMAC_SPOOL_H

#include <stdint.h>
#include <stdio.h>
#include <string>
#include <vector>

struct hash_field {
    std::string name;
    std::string value;
};

struct spool {
    FILE *file;
    uint64_t stored_bytes; // keys, field names and values
};

// A new empty file; its descriptor, or -1 with errno set.
int spool_create(void);

// Appends the command that stores a hash, which must have a field. A failure
// shows in spool_finish.
void spool_add_hash(spool *output, const std::string &key, const std::vector<hash_field> &fields);

// Writes what is buffered; 0, or -1 with errno set when anything failed.
int spool_finish(spool *output);

// Walks a spool that was mapped into memory.
struct spool_reader {
    const char *at;
    const char *end;
};

// The next command; false at the end.
bool spool_next(spool_reader *reader, const char **command, size_t *length);

#endif
