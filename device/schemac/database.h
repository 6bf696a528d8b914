// The connection to the schema database.
#pragma once

#include <string>

#include "heap.h"
#include "platform/redis_endpoint.h"

using connection_ptr = released_ptr<redisContext, redisFree>;
using database_reply = released_ptr<redisReply, freeReplyObject>;

// Connects and selects database 4; null with the cause in message.
connection_ptr database_open(const redis_endpoint *endpoint, std::string *message);

// Takes one reply, which may be an error; null with message set when there is none.
database_reply database_next(redisContext *connection, std::string *message);

// Takes one reply; null with message set when there is none or it is an error.
database_reply database_take(redisContext *connection, std::string *message);

// Takes one reply, which must be this status; 0, or -1 with message set.
int database_expect(redisContext *connection, const char *status, std::string *message);

// Notes why a command could not be appended; 0 when it could.
int database_check(const redisContext *connection, int result, std::string *message);
