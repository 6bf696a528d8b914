// A file descriptor that is closed at the end of its scope, which leaves errno alone.
#pragma once

#include <errno.h>
#include <unistd.h>
#include <utility>

struct descriptor {
    int fd = -1; // -1: none

    descriptor() = default;
    explicit descriptor(int opened) : fd(opened) {}
    descriptor(descriptor &&other) noexcept : fd(other.release()) {}
    descriptor &operator=(descriptor &&other) noexcept
    {
        const descriptor old(std::exchange(fd, other.release()));
        return *this;
    }
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
};

// Closes at once; nothing happens when there is none.
inline void descriptor_close(descriptor *owner)
{
    *owner = descriptor();
}

inline bool descriptor_open(const descriptor *owner)
{
    return owner->fd >= 0;
}
