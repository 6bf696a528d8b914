// Replaces what the schema database holds.
//
// The commands are sent in batches inside MULTI and EXEC. redis only queues
// them until EXEC, so that whatever fails before, a lost connection included,
// leaves the database alone. Every reply is looked at.
#include "device/schemac/publish.h"

#include "device/schemac/database.h"

namespace
{

constexpr size_t batch_bytes = 1 << 18;
constexpr size_t batch_commands = 1000;

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
        if (database_check(connection, result, message) != 0)
            return -1;
        sent += command.size();
        waiting++;
        if (sent - settled >= batch_bytes || waiting == batch_commands) {
            if (database_expect(connection, "QUEUED", waiting, message) != 0)
                return -1;
            watch(sent, total);
            settled = sent;
            waiting = 0;
        }
    }
    return database_expect(connection, "QUEUED", waiting, message);
}

int execute(redisContext *connection, std::string *message)
{
    if (database_check(connection, redisAppendCommand(connection, "EXEC"), message) != 0)
        return -1;
    const database_reply reply = database_take(connection, message);
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
    const connection_ptr connection = database_open(endpoint, message);
    if (connection == nullptr || database_run(connection.get(), "MULTI", "OK", message) != 0 ||
        database_run(connection.get(), "FLUSHDB", "QUEUED", message) != 0 ||
        queue_commands(connection.get(), content, watch, message) != 0)
        return -1;
    return execute(connection.get(), message);
}
