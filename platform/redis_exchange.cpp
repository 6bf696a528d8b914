// One command to a redis server and its reply.
//
// Commands are written here and not by hiredis, which would raise SIGPIPE when
// the server has gone, and which dies when it has no memory for its buffer.
//
// hiredis takes whatever a server sends. So the bytes of a reply are counted as
// they arrive. What it makes of them is made by functions of ours: an array, which it
// announces before any element is there, is bounded, and the elements have no blocks of
// their own, of which hiredis makes two for each.
#include "platform/redis_exchange.h"

#include <errno.h>
#include <poll.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>

#include "arena.h"
#include "bounded.h"

namespace
{

long long monotonic_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// Waits for events (of poll) on the connection; 0, or -1 when the deadline passes.
int wait_for(const redisContext *connection, short events, long long deadline)
{
    for (;;) {
        const long long left = deadline - monotonic_ms();
        if (left <= 0)
            return -1;
        pollfd waited = {connection->fd, events, 0};
        const int ready = poll(&waited, 1, static_cast<int>(left));
        if (ready > 0)
            return 0;
        if (ready < 0 && errno != EINTR)
            return -1;
    }
}

// Writes a whole text; 0, or -1 and the connection is of no further use.
int send_all(redisContext *connection, const char *text, size_t length, long long deadline)
{
    while (length > 0) {
        const ssize_t sent = send(connection->fd, text, length, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0) {
            text += sent;
            length -= static_cast<size_t>(sent);
        } else if (errno == EAGAIN) {
            if (wait_for(connection, POLLOUT, deadline) != 0) {
                connection->err = REDIS_ERR_OTHER;
                return -1;
            }
        } else if (errno != EINTR) {
            connection->err = REDIS_ERR_IO;
            return -1;
        }
    }
    return 0;
}

// A reply with what its elements take. Its own text or elements stand after it.
struct whole_reply {
    arena memory;
    redisReply reply;
};

whole_reply *whole_of(void *reply)
{
    return reinterpret_cast<whole_reply *>(static_cast<char *>(reply) -
                                           offsetof(whole_reply, reply));
}

// The functions that hiredis' reader calls. A null answer makes it give up the reply.

// Makes a reply, or an element of one, with room for `size` bytes after it.
redisReply *make_reply(const redisReadTask *task, int type, size_t size)
{
    redisReply *reply = nullptr;
    if (task->parent != nullptr) {
        arena *memory = &whole_of(task->parent->obj)->memory;
        reply = static_cast<redisReply *>(arena_room(memory, sizeof(redisReply) + size));
    } else {
        auto *whole = static_cast<whole_reply *>(calloc(1, sizeof(whole_reply) + size));
        reply = whole != nullptr ? &whole->reply : nullptr;
    }
    if (reply == nullptr)
        return nullptr;
    *reply = {};
    reply->type = type;
    if (task->parent != nullptr)
        static_cast<redisReply *>(task->parent->obj)->element[task->idx] = reply;
    return reply;
}

// Where size_t has 32 bits, hiredis takes a text for complete whose length lets a sum go round.
void *create_text(const redisReadTask *task, char *text, size_t length)
{
    if (length > redis_reply_limit)
        return nullptr;
    redisReply *reply = make_reply(task, task->type, length + 1);
    if (reply == nullptr)
        return nullptr;
    reply->str = reinterpret_cast<char *>(reply + 1);
    reply->len = length;
    memcpy_s(reply->str, length, text, length);
    reply->str[length] = '\0';
    return reply;
}

void *create_array(const redisReadTask *task, int elements)
{
    if (task->parent != nullptr || elements < 0 || elements > redis_reply_elements_limit)
        return nullptr;
    const auto count = static_cast<size_t>(elements);
    redisReply *reply = make_reply(task, REDIS_REPLY_ARRAY, count * sizeof(redisReply *));
    if (reply == nullptr)
        return nullptr;
    reply->elements = count;
    reply->element = reinterpret_cast<redisReply **>(reply + 1);
    return reply;
}

void *create_integer(const redisReadTask *task, long long value)
{
    redisReply *reply = make_reply(task, REDIS_REPLY_INTEGER, 0);
    if (reply != nullptr)
        reply->integer = value;
    return reply;
}

void *create_nil(const redisReadTask *task)
{
    return make_reply(task, REDIS_REPLY_NIL, 0);
}

redisReplyObjectFunctions reply_functions = {create_text, create_array, create_integer, create_nil,
                                             redis_reply_free};

// Reads what has arrived and adds its length to *taken.
int read_more(redisContext *connection, size_t *taken)
{
    const size_t before = connection->reader->len;
    if (redisBufferRead(connection) != REDIS_OK)
        return -1;
    *taken += connection->reader->len - before;
    if (*taken > redis_reply_limit) {
        connection->err = REDIS_ERR_OTHER;
        return -1;
    }
    return 0;
}

// Takes one reply. Null means that the connection is of no further use: lost, a
// late reply may follow, or this one is too large.
redisReply *receive(redisContext *connection, long long deadline)
{
    void *reply = nullptr;
    size_t taken = 0;
    for (;;) {
        if (redisGetReplyFromReader(connection, &reply) != REDIS_OK)
            return nullptr;
        if (reply != nullptr)
            return static_cast<redisReply *>(reply);
        if (wait_for(connection, POLLIN, deadline) != 0) {
            connection->err = REDIS_ERR_OTHER;
            return nullptr;
        }
        if (read_more(connection, &taken) != 0)
            return nullptr;
    }
}

} // namespace

redisReply *redis_exchange(redisContext *connection, int count, const char **words,
                           const size_t *lengths)
{
    char *text = nullptr;
    const auto length = redisFormatCommandArgv(&text, count, words, lengths);
    if (length < 0)
        return nullptr;
    const long long deadline = monotonic_ms() + redis_patience_ms;
    redisReply *reply = nullptr;
    if (send_all(connection, text, static_cast<size_t>(length), deadline) == 0) {
        redisReplyObjectFunctions *const usual = connection->reader->fn;
        connection->reader->fn = &reply_functions;
        reply = receive(connection, deadline);
        if (reply != nullptr)               // otherwise it may hold a part of one
            connection->reader->fn = usual; // for other readers
    }
    explicit_bzero(text, static_cast<size_t>(length)); // it may hold a password
    redisFreeCommand(text);
    return reply;
}

void redis_reply_free(void *reply)
{
    if (reply == nullptr)
        return;
    whole_reply *whole = whole_of(reply);
    arena_clear(&whole->memory);
    free(whole);
}
