// A libredisapi.so that tells on standard error what is asked of it. Its
// database is empty; with TRACED_REDIS_REFUSES set, there is no connection.
#include "redisapi.h"

#include <stdio.h>
#include <stdlib.h>

namespace
{

redisContext the_connection;

const char *name_of(const redisContext *connection)
{
    return connection == &the_connection ? "connection" : "null";
}

} // namespace

redisContext *redis_connect()
{
    fprintf(stderr, "redis_connect()\n");
    return getenv("TRACED_REDIS_REFUSES") == nullptr ? &the_connection : nullptr;
}

int redis_select(redisContext *connection, int database)
{
    fprintf(stderr, "redis_select(%s, %d)\n", name_of(connection), database);
    return connection != nullptr ? 0 : -1;
}

redisReply *redis_hash_get_bin_safe(redisContext *, const char *, size_t, const char *, size_t)
{
    return nullptr;
}

redisReply *redis_hash_get_all_bin_safe(redisContext *, const char *, size_t)
{
    return nullptr;
}

void redis_freereply(redisReply *) {}

void redis_freeconn(redisContext *connection)
{
    fprintf(stderr, "redis_freeconn(%s)\n", name_of(connection));
}
