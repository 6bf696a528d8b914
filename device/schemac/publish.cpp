// Replaces the schema database by the contents of a spool.
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
constexpr unsigned batch_commands = 1000;

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

// Takes a reply that must be this status.
bool expect_status(redisContext *connection, const char *status, std::string *message)
{
    reply_ptr reply = take_reply(connection, message);
    if (reply == nullptr)
        return false;
    if (reply->type != REDIS_REPLY_STATUS || std::string(reply->str, reply->len) != status) {
        *message = std::string("no ") + status + " from the server";
        return false;
    }
    return true;
}

bool run(redisContext *connection, const char *command, const char *status, std::string *message)
{
    if (redisAppendCommand(connection, command) != REDIS_OK) {
        *message = connection->errstr;
        return false;
    }
    return expect_status(connection, status, message);
}

bool settle_batch(redisContext *connection, unsigned commands, std::string *message)
{
    for (unsigned i = 0; i < commands; i++) {
        if (!expect_status(connection, "QUEUED", message))
            return false;
    }
    return true;
}

bool queue_commands(redisContext *connection, spool_reader content, publish_watch watch,
                    std::string *message)
{
    const char *start = content.at;
    const char *command = nullptr;
    size_t length = 0;
    size_t bytes = 0;
    unsigned waiting = 0;
    while (spool_next(&content, &command, &length)) {
        if (redisAppendFormattedCommand(connection, command, length) != REDIS_OK) {
            *message = connection->errstr;
            return false;
        }
        bytes += length;
        waiting++;
        if (bytes >= batch_bytes || waiting >= batch_commands) {
            if (!settle_batch(connection, waiting, message))
                return false;
            watch(static_cast<size_t>(content.at - start),
                  static_cast<size_t>(content.end - start));
            bytes = 0;
            waiting = 0;
        }
    }
    return settle_batch(connection, waiting, message);
}

bool execute(redisContext *connection, std::string *message)
{
    if (redisAppendCommand(connection, "EXEC") != REDIS_OK) {
        *message = connection->errstr;
        return false;
    }
    reply_ptr reply = take_reply(connection, message);
    if (reply == nullptr)
        return false;
    for (size_t i = 0; i < reply->elements; i++) {
        if (reply->element[i]->type == REDIS_REPLY_ERROR) {
            message->assign(reply->element[i]->str, reply->element[i]->len);
            return false;
        }
    }
    if (reply->type != REDIS_REPLY_ARRAY) {
        *message = "the transaction was refused";
        return false;
    }
    return true;
}

} // namespace

int publish_spool(const redis_endpoint *endpoint, spool_reader content, publish_watch watch,
                  std::string *message)
{
    connection_ptr connection(redis_endpoint_connect(endpoint));
    if (connection == nullptr || connection->err != 0) {
        *message = connection == nullptr ? "out of memory" : connection->errstr;
        return -1;
    }
    if (redisSetTimeout(connection.get(), transaction_patience) != REDIS_OK) {
        *message = connection->errstr;
        return -1;
    }
    std::string select = "SELECT " + std::to_string(schema_database);
    bool is_done = run(connection.get(), select.c_str(), "OK", message) &&
                   run(connection.get(), "MULTI", "OK", message) &&
                   run(connection.get(), "FLUSHDB", "QUEUED", message) &&
                   queue_commands(connection.get(), content, watch, message) &&
                   execute(connection.get(), message);
    return is_done ? 0 : -1;
}
