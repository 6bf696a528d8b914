#include "device/schemac/database.h"

namespace
{

constexpr char select_schema[] = "SELECT 4";

// EXEC runs the whole transaction before it answers.
constexpr timeval transaction_patience = {120, 0};

} // namespace

connection_ptr database_open(const redis_endpoint *endpoint, std::string *message)
{
    connection_ptr connection(redis_endpoint_connect(endpoint));
    if (connection == nullptr) {
        *message = "out of memory";
        return nullptr;
    }
    if (connection->err != 0 ||
        redisSetTimeout(connection.get(), transaction_patience) != REDIS_OK) {
        *message = connection->errstr;
        return nullptr;
    }
    if (database_check(connection.get(), redisAppendCommand(connection.get(), select_schema),
                       message) != 0 ||
        database_expect(connection.get(), "OK", message) != 0)
        return nullptr;
    return connection;
}

database_reply database_next(redisContext *connection, std::string *message)
{
    void *raw = nullptr;
    if (redisGetReply(connection, &raw) != REDIS_OK || raw == nullptr) {
        *message = std::string("connection lost: ") + connection->errstr;
        return nullptr;
    }
    return database_reply(static_cast<redisReply *>(raw));
}

database_reply database_take(redisContext *connection, std::string *message)
{
    database_reply reply = database_next(connection, message);
    if (reply != nullptr && reply->type == REDIS_REPLY_ERROR) {
        message->assign(reply->str, reply->len);
        return nullptr;
    }
    return reply;
}

int database_expect(redisContext *connection, const char *status, std::string *message)
{
    const database_reply reply = database_take(connection, message);
    if (reply == nullptr)
        return -1;
    if (reply->type == REDIS_REPLY_STATUS && std::string(reply->str, reply->len) == status)
        return 0;
    *message = std::string("no ") + status + " from the server";
    return -1;
}

int database_check(const redisContext *connection, int result, std::string *message)
{
    if (result == REDIS_OK)
        return 0;
    *message = connection->errstr;
    return -1;
}
