// A file descriptor that is closed at the end of its scope, which leaves errno alone.
#pragma once

#include <errno.h>
#include <unistd.h>
#include <utility>

struct descriptor {
    int fd; // -1: none

    explicit descriptor(int opened) : fd(opened) {}
    ~descriptor()
    {
        const int cause = errno;
        if (fd >= 0)
            close(fd);
        errno = cause;
    }
    // Hands the descriptor over to the caller.
    int release()
    {
        return std::exchange(fd, -1);
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
};
