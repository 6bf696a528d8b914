// Bounds-checked string and memory functions of the platform.
//
// A thin layer on the C library: each function decides first whether the whole
// result fits, and only then writes. Lengths are compared before they are
// added, so that no size arithmetic can wrap on a 32-bit machine.
#include "bounded.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

namespace
{

// Leaves the empty string, where there is room for one.
int fail_text(char *dest, size_t size)
{
    if (dest != nullptr && size > 0)
        dest[0] = '\0';
    return -1;
}

// Moves length characters of src to dest + used and terminates them.
int place_text(char *dest, size_t size, size_t used, const char *src, size_t length)
{
    if (length >= size - used)
        return fail_text(dest, size);
    memmove(dest + used, src, length);
    dest[used + length] = '\0';
    return 0;
}

bool regions_overlap(const void *first, const void *second, size_t count)
{
    const auto low = reinterpret_cast<uintptr_t>(first);
    const auto high = reinterpret_cast<uintptr_t>(second);
    const uintptr_t distance = low < high ? high - low : low - high;
    return distance < count;
}

} // namespace

int vsprintf_s(char *dest, size_t size, const char *format, va_list arguments)
{
    if (dest == nullptr || size == 0 || format == nullptr)
        return fail_text(dest, size);
    const int written = vsnprintf(dest, size, format, arguments);
    if (written < 0 || static_cast<size_t>(written) >= size)
        return fail_text(dest, size);
    return written;
}

int sprintf_s(char *dest, size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int written = vsprintf_s(dest, size, format, arguments);
    va_end(arguments);
    return written;
}

int strcpy_s(char *dest, size_t size, const char *src)
{
    return strncpy_s(dest, size, src, size);
}

int strncpy_s(char *dest, size_t size, const char *src, size_t count)
{
    if (dest == nullptr || size == 0 || src == nullptr)
        return fail_text(dest, size);
    return place_text(dest, size, 0, src, strnlen(src, count < size ? count : size));
}

int strcat_s(char *dest, size_t size, const char *src)
{
    if (dest == nullptr || size == 0 || src == nullptr)
        return fail_text(dest, size);
    const size_t used = strnlen(dest, size);
    if (used == size)
        return fail_text(dest, size);
    return place_text(dest, size, used, src, strnlen(src, size - used));
}

int memcpy_s(void *dest, size_t size, const void *src, size_t count)
{
    if (dest == nullptr || src == nullptr || count > size || regions_overlap(dest, src, count))
        return -1;
    memcpy(dest, src, count);
    return 0;
}

int memset_s(void *dest, size_t size, int value, size_t count)
{
    if (dest == nullptr || count > size)
        return -1;
    memset(dest, value, count);
    // The compiler must believe that somebody reads the bytes.
    __asm__ __volatile__("" : : "r"(dest) : "memory");
    return 0;
}

char *strtok_s(char *text, const char *delimiters, char **context)
{
    if (delimiters == nullptr || context == nullptr)
        return nullptr;
    char *word = text != nullptr ? text : *context;
    if (word == nullptr)
        return nullptr;
    word += strspn(word, delimiters);
    char *end = word + strcspn(word, delimiters);
    *context = end;
    if (end == word)
        return nullptr;
    if (*end != '\0') {
        *end = '\0';
        *context = end + 1;
    }
    return word;
}
