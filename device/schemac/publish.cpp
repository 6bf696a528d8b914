// Replaces what the schema database holds.
//
// The commands are sent in batches inside MULTI and EXEC. redis only queues
// them until EXEC, so that whatever fails before, a lost connection included,
// leaves the database alone. Every reply is looked at.
#include "device/schemac/publish.h"

#include <memory>

namespace
{

constexpr int schema_database = 4;
constexpr size_t batch_bytes = 1 << 18;
constexpr size_t batch_commands = 1000;

// EXEC runs the whole transaction before it answers.
constexpr timeval transaction_patience = {120, 0};

struct connection_deleter {
    void operator()(redisContext *connection) const
    {
        redisFree(connection);
    }
};
using connection_ptr = std::unique_ptr<redisContext, connection_deleter>;

struct reply_deleter {
    void operator()(redisReply *reply) const
    {
        freeReplyObject(reply);
    }
};
using reply_ptr = std::unique_ptr<redisReply, reply_deleter>;

// Takes one reply; null with message set when there is none or it is an error.
reply_ptr take_reply(redisContext *connection, std::string *message)
{
    void *raw = nullptr;
    if (redisGetReply(connection, &raw) != REDIS_OK || raw == nullptr) {
        *message = std::string("connection lost: ") + connection->errstr;
        return nullptr;
    }
    reply_ptr reply(static_cast<redisReply *>(raw));
    if (reply->type == REDIS_REPLY_ERROR) {
        message->assign(reply->str, reply->len);
        return nullptr;
    }
    return reply;
}

// Takes as many replies, which must all be this status.
int expect_status(redisContext *connection, const char *status, size_t count, std::string *message)
{
    for (; count > 0; count--) {
        const reply_ptr reply = take_reply(connection, message);
        if (reply == nullptr)
            return -1;
        if (reply->type != REDIS_REPLY_STATUS || std::string(reply->str, reply->len) != status) {
            *message = std::string("no ") + status + " from the server";
            return -1;
        }
    }
    return 0;
}

// Notes why a command could not be appended; 0 when it could.
int check_appended(const redisContext *connection, int result, std::string *message)
{
    if (result == REDIS_OK)
        return 0;
    *message = connection->errstr;
    return -1;
}

int run(redisContext *connection, const char *command, const char *status, std::string *message)
{
    if (check_appended(connection, redisAppendCommand(connection, command), message) != 0)
        return -1;
    return expect_status(connection, status, 1, message);
}

int queue_commands(redisContext *connection, const schema_content *content, publish_watch watch,
                   std::string *message)
{
    size_t total = 0;
    for (const std::string &command : content->commands)
        total += command.size();
    size_t sent = 0;
    size_t settled = 0;
    size_t waiting = 0;
    for (const std::string &command : content->commands) {
        const int result = redisAppendFormattedCommand(connection, command.data(), command.size());
        if (check_appended(connection, result, message) != 0)
            return -1;
        sent += command.size();
        waiting++;
        if (sent - settled >= batch_bytes || waiting == batch_commands) {
            if (expect_status(connection, "QUEUED", waiting, message) != 0)
                return -1;
            watch(sent, total);
            settled = sent;
            waiting = 0;
        }
    }
    return expect_status(connection, "QUEUED", waiting, message);
}

int execute(redisContext *connection, std::string *message)
{
    if (check_appended(connection, redisAppendCommand(connection, "EXEC"), message) != 0)
        return -1;
    const reply_ptr reply = take_reply(connection, message);
    if (reply == nullptr)
        return -1;
    for (size_t i = 0; i < reply->elements; i++) {
        if (reply->element[i]->type == REDIS_REPLY_ERROR) {
            message->assign(reply->element[i]->str, reply->element[i]->len);
            return -1;
        }
    }
    if (reply->type == REDIS_REPLY_ARRAY)
        return 0;
    *message = "the transaction was refused";
    return -1;
}

} // namespace

int publish_content(const redis_endpoint *endpoint, const schema_content *content,
                    publish_watch watch, std::string *message)
{
    const connection_ptr connection(redis_endpoint_connect(endpoint));
    if (connection == nullptr || connection->err != 0) {
        *message = connection == nullptr ? "out of memory" : connection->errstr;
        return -1;
    }
    if (redisSetTimeout(connection.get(), transaction_patience) != REDIS_OK) {
        *message = connection->errstr;
        return -1;
    }
    const std::string select = "SELECT " + std::to_string(schema_database);
    if (run(connection.get(), select.c_str(), "OK", message) != 0 ||
        run(connection.get(), "MULTI", "OK", message) != 0 ||
        run(connection.get(), "FLUSHDB", "QUEUED", message) != 0 ||
        queue_commands(connection.get(), content, watch, message) != 0)
        return -1;
    return execute(connection.get(), message);
}
