// A file descriptor that is closed at the end of its scope.
#ifndef VANDEL_BASE_DESCRIPTOR_H
#define VANDEL_BASE_DESCRIPTOR_H

#include <unistd.h>

struct descriptor {
    int fd; // -1: none

    explicit descriptor(int opened) : fd(opened) {}
    ~descriptor()
    {
        if (fd >= 0)
            close(fd);
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
};

#endif
