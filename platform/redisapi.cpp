// Access to the schema database: the host version, on hiredis.
//
// A call is one exchange. When that fails on the way the connection is made
// anew, at most once in a call, and the database selected again; for this each
// open connection has a row in a list that remembers its server and its database.
#include "redisapi.h"

#include <pthread.h>
#include <stdlib.h>

#include "bounded.h"
#include "platform/redis_endpoint.h"
#include "platform/redis_exchange.h"

namespace
{

struct open_connection {
    redisContext *connection;
    redis_endpoint endpoint;
    int database;
    open_connection *next;
};

// Guards the list; a connection itself, and what its row remembers, belongs to
// one thread at a time.
pthread_mutex_t open_lock = PTHREAD_MUTEX_INITIALIZER;

open_connection *open_head;

int open_list_add(redisContext *connection, const redis_endpoint *endpoint)
{
    auto *row = static_cast<open_connection *>(calloc(1, sizeof(open_connection)));
    if (row == nullptr)
        return -1;
    row->connection = connection;
    row->endpoint = *endpoint;
    pthread_mutex_lock(&open_lock);
    row->next = open_head;
    open_head = row;
    pthread_mutex_unlock(&open_lock);
    return 0;
}

void open_list_remove(const redisContext *connection)
{
    pthread_mutex_lock(&open_lock);
    open_connection **link = &open_head;
    while (*link != nullptr && (*link)->connection != connection)
        link = &(*link)->next;
    open_connection *row = *link;
    if (row != nullptr)
        *link = row->next;
    pthread_mutex_unlock(&open_lock);
    free(row);
}

// Null for a connection that is not in the list.
open_connection *open_list_find(const redisContext *connection)
{
    pthread_mutex_lock(&open_lock);
    open_connection *row = open_head;
    while (row != nullptr && row->connection != connection)
        row = row->next;
    pthread_mutex_unlock(&open_lock);
    return row;
}

enum selection {
    selection_done,
    selection_refused,
    selection_unanswered,
};

selection select_on(redisContext *connection, int database)
{
    char number[16];
    const int length = sprintf_s(number, sizeof number, "%d", database);
    if (length < 0)
        return selection_refused;
    const char *words[] = {"SELECT", number};
    const size_t lengths[] = {6, static_cast<size_t>(length)};
    redisReply *reply = redis_exchange(connection, 2, words, lengths);
    if (reply == nullptr) {
        // Whatever is selected there, it must not be read.
        connection->err = connection->err != 0 ? connection->err : REDIS_ERR_OTHER;
        return selection_unanswered;
    }
    const bool is_done = reply->type == REDIS_REPLY_STATUS;
    redis_reply_free(reply);
    return is_done ? selection_done : selection_refused;
}

int revive(redisContext *connection)
{
    const open_connection *row = open_list_find(connection);
    if (row == nullptr || redis_endpoint_reconnect(connection, &row->endpoint) != 0)
        return -1;
    if (select_on(connection, row->database) == selection_done)
        return 0;
    connection->err = REDIS_ERR_OTHER; // whatever answers there, it must not be read
    return -1;
}

// Whether the server closed the connection or never took the command, so that
// asking once more is worth it; it is not where a server is silent.
bool is_lost(const redisContext *connection)
{
    return connection->err == REDIS_ERR_EOF || connection->err == REDIS_ERR_IO;
}

redisReply *command(redisContext *connection, int count, const char **words, const size_t *lengths)
{
    bool revived = false;
    if (connection->err != 0) {
        revived = true;
        if (revive(connection) != 0)
            return nullptr;
    }
    redisReply *reply = redis_exchange(connection, count, words, lengths);
    if (reply == nullptr && !revived && is_lost(connection) && revive(connection) == 0)
        reply = redis_exchange(connection, count, words, lengths);
    return reply;
}

// Whether a reply holds field names and values in turn, at least one pair.
bool is_hash_content(const redisReply *reply)
{
    if (reply->type != REDIS_REPLY_ARRAY || reply->elements == 0 || reply->elements % 2 != 0)
        return false;
    for (size_t i = 0; i < reply->elements; i++) {
        if (reply->element[i] == nullptr || reply->element[i]->type != REDIS_REPLY_STRING)
            return false;
    }
    return true;
}

} // namespace

redisContext *redis_connect(void)
{
    redis_endpoint endpoint;
    if (redis_endpoint_parse(getenv("SCHEMA_REDIS"), &endpoint) != 0)
        return nullptr;
    redisContext *connection = redis_endpoint_connect(&endpoint);
    if (connection == nullptr)
        return nullptr;
    if (connection->err != 0 || open_list_add(connection, &endpoint) != 0) {
        redisFree(connection);
        return nullptr;
    }
    return connection;
}

int redis_select(redisContext *connection, int database)
{
    if (connection == nullptr)
        return -1;
    open_connection *row = open_list_find(connection);
    selection result = selection_unanswered;
    if (connection->err == 0 ||
        (row != nullptr && redis_endpoint_reconnect(connection, &row->endpoint) == 0))
        result = select_on(connection, database);
    if (result != selection_refused && row != nullptr)
        row->database = database;
    return result == selection_done ? 0 : -1;
}

redisReply *redis_hash_get_bin_safe(redisContext *connection, const char *hash, size_t hash_length,
                                    const char *field, size_t field_length)
{
    if (connection == nullptr || hash == nullptr || field == nullptr)
        return nullptr;
    const char *words[] = {"HGET", hash, field};
    const size_t lengths[] = {4, hash_length, field_length};
    redisReply *reply = command(connection, 3, words, lengths);
    if (reply != nullptr && reply->type != REDIS_REPLY_STRING) {
        redis_reply_free(reply);
        return nullptr;
    }
    return reply;
}

redisReply *redis_hash_get_all_bin_safe(redisContext *connection, const char *hash,
                                        size_t hash_length)
{
    if (connection == nullptr || hash == nullptr)
        return nullptr;
    const char *words[] = {"HGETALL", hash};
    const size_t lengths[] = {7, hash_length};
    redisReply *reply = command(connection, 2, words, lengths);
    if (reply != nullptr && !is_hash_content(reply)) {
        redis_reply_free(reply);
        return nullptr;
    }
    return reply;
}

void redis_freereply(redisReply *reply)
{
    redis_reply_free(reply);
}

void redis_freeconn(redisContext *connection)
{
    if (connection == nullptr)
        return;
    open_list_remove(connection);
    redisFree(connection);
}
