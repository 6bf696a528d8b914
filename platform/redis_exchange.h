// One command to a redis server and its reply, within bounds of time and memory.
#pragma once

#include <hiredis/hiredis.h>
#include <stddef.h>

// How long a connection, and one exchange on it, may take.
inline constexpr int redis_patience_ms = 5000;

// How many bytes a reply may have on its way, by default 16 MiB, and how many
// elements. No record and no level of a model comes near; a server that goes on is
// none of ours.
inline constexpr size_t redis_reply_limit = VANDEL_REDIS_REPLY_LIMIT;
inline constexpr int redis_reply_elements_limit = 1 << 18;

// Sends a command of count words and takes its reply, which the caller gives to
// redis_reply_free, not to hiredis. Null when there is none: the connection is lost or silent, or
// the reply is above a limit or has an array in an array. The connection is then
// of no further use, because a late reply could be taken for that of a later
// command, and carries an error (err is not 0). Only when there was no memory for
// the command is it as it was.
redisReply *redis_exchange(redisContext *connection, int count, const char **words,
                           const size_t *lengths);

// Releases such a reply; null is accepted.
void redis_reply_free(void *reply);
