#include "platform/redis_password.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/redis_exchange.h"

namespace
{

// A password, with room for its line end and a byte that is too many.
struct password {
    char text[redis_password_limit + 2];
    size_t length;
};

// Reads to the end, or until text is full; 0 or -1 with errno set.
int read_whole(int descriptor, password *result)
{
    while (result->length < sizeof result->text) {
        const ssize_t count =
            read(descriptor, result->text + result->length, sizeof result->text - result->length);
        if (count == 0)
            return 0;
        if (count > 0)
            result->length += static_cast<size_t>(count);
        else if (errno != EINTR)
            return -1;
    }
    return 0;
}

// Reads the password from an open file. Null, or what is wrong with the file.
const char *read_password(int descriptor, password *result)
{
    struct stat status;
    if (fstat(descriptor, &status) != 0)
        return strerror(errno);
    if (!S_ISREG(status.st_mode))
        return "not a regular file";
    if (status.st_uid != 0 && status.st_uid != geteuid())
        return "another user's";
    if ((status.st_mode & (S_IWGRP | S_IRWXO)) != 0)
        return "open to others";
    if (read_whole(descriptor, result) != 0)
        return strerror(errno);
    if (result->length > 0 && result->text[result->length - 1] == '\n')
        result->length--;
    return result->length == 0                     ? "empty"
           : result->length > redis_password_limit ? "too long"
                                                   : nullptr;
}

const char *send_password(redisContext *connection, const password *secret)
{
    const char *words[] = {"AUTH", secret->text};
    const size_t lengths[] = {4, secret->length};
    redisReply *reply = redis_exchange(connection, 2, words, lengths);
    if (reply == nullptr)
        return "no answer from the server";
    const bool is_taken = reply->type == REDIS_REPLY_STATUS;
    redis_reply_free(reply);
    return is_taken ? nullptr : "the server refused the password";
}

} // namespace

const char *redis_authenticate(redisContext *connection, const char *path)
{
    // Not waiting for somebody who writes to a FIFO.
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0)
        return strerror(errno);
    password secret = {};
    const char *cause = read_password(descriptor, &secret);
    close(descriptor);
    if (cause == nullptr)
        cause = send_password(connection, &secret);
    explicit_bzero(&secret, sizeof secret);
    return cause;
}
