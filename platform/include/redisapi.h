// Access to the schema database (libredisapi.so).
//
// On a device this library belongs to the platform; the host version stands on
// hiredis and connects where the environment variable SCHEMA_REDIS says:
// HOST:PORT, or the path of a Unix socket when it contains a "/"; without it
// 127.0.0.1:6379. ",passwordfile=PATH" after it names a file with the password of
// the server, root's or the effective user's and closed to others.
//
// Replies have the layout of a hiredis reply and belong to the caller, who
// gives them to redis_freereply. Names and values are binary: their lengths
// are given, not derived. A reply above 16 MiB or 262144 elements is refused, as
// if the connection had been lost. A null connection is accepted everywhere and answers
// like a missing record.
#ifndef VANDEL_PLATFORM_REDISAPI_H
#define VANDEL_PLATFORM_REDISAPI_H

#include <hiredis/hiredis.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Connects; null when the server cannot be reached, or listens on a Unix socket
// and is neither root's nor the effective user's, or when the password or its file
// is refused.
redisContext *redis_connect(void);

// Selects a database; 0, or -1 when the server refuses or there is no
// connection. Without an answer it is selected before the next command.
int redis_select(redisContext *connection, int database);

// Reads one field of a hash: a string reply, or null (no such hash or field,
// lost connection, error reply, a key of another type).
redisReply *redis_hash_get_bin_safe(redisContext *connection, const char *hash, size_t hash_length,
                                    const char *field, size_t field_length);

// Reads a whole hash: an array reply of alternating field names and values
// (all strings, an even count, at least one pair), or null as above.
redisReply *redis_hash_get_all_bin_safe(redisContext *connection, const char *hash,
                                        size_t hash_length);

// Releases a reply or a connection; null is accepted.
void redis_freereply(redisReply *reply);
void redis_freeconn(redisContext *connection);

#ifdef __cplusplus
}
#endif

#endif
