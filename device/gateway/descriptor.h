// A file descriptor that is closed when its owner goes out of scope.
#pragma once

#include <unistd.h>

struct descriptor {
    int number = -1; // -1: none

    descriptor() = default;
    explicit descriptor(int opened) : number(opened) {}
    descriptor(descriptor &&other) noexcept : number(other.number)
    {
        other.number = -1;
    }
    descriptor &operator=(descriptor &&other) noexcept
    {
        const int old = number;
        number = other.number;
        other.number = -1;
        if (old >= 0 && old != number)
            close(old);
        return *this;
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    ~descriptor()
    {
        if (number >= 0)
            close(number);
    }
};

// Closes at once; nothing happens when there is none.
inline void descriptor_close(descriptor *owner)
{
    *owner = descriptor();
}

inline bool descriptor_open(const descriptor *owner)
{
    return owner->number >= 0;
}
