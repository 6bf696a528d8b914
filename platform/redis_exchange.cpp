// One command to a redis server and its reply.
//
// Commands are written here and not by hiredis, which would raise SIGPIPE when
// the server has gone, and which dies when it has no memory for its buffer.
//
// hiredis takes whatever a server sends. So the bytes of a reply are counted as
// they arrive, and arrays, for which it allocates as soon as it has read how
// many elements are announced, are made by a function of ours.
#include "platform/redis_exchange.h"

#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>

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

// The functions that every reader has at first; guarded until they are known.
pthread_mutex_t functions_lock = PTHREAD_MUTEX_INITIALIZER;

redisReplyObjectFunctions *usual_functions;

// Makes the object of an array. A null answer makes hiredis give up the reply.
void *create_array(const redisReadTask *task, int elements)
{
    if (task->parent != nullptr || elements > redis_reply_elements_limit)
        return nullptr;
    return usual_functions->createArray(task, elements);
}

// What hiredis builds replies with, but for arrays.
redisReplyObjectFunctions limited_functions;

void limit_arrays(redisReader *reader)
{
    pthread_mutex_lock(&functions_lock);
    if (usual_functions == nullptr) {
        usual_functions = reader->fn;
        limited_functions = *reader->fn;
        limited_functions.createArray = create_array;
    }
    pthread_mutex_unlock(&functions_lock);
    reader->fn = &limited_functions;
}

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
        limit_arrays(connection->reader);
        reply = receive(connection, deadline);
        connection->reader->fn = usual_functions; // for other readers
    }
    explicit_bzero(text, static_cast<size_t>(length)); // it may hold a password
    redisFreeCommand(text);
    return reply;
}
