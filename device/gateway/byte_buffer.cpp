#include "device/gateway/byte_buffer.h"

#include <algorithm>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

#include "bounded.h"

namespace
{

constexpr size_t unlimited = SIZE_MAX / 2;
constexpr size_t first_capacity = 4096;
constexpr size_t kept_capacity = 65536;

// The capacity to allocate for needed bytes, which are not more than limit.
size_t next_capacity(size_t capacity, size_t needed, size_t limit)
{
    const size_t doubled = capacity > limit / 2 ? limit : capacity * 2;
    return std::min(std::max({doubled, needed, first_capacity}), limit);
}

// 0, or -1: out of memory, and nothing is changed.
int reallocate(byte_buffer *buffer, size_t capacity)
{
    void *block = realloc(buffer->data.get(), capacity);
    if (block == nullptr)
        return -1;
    (void)buffer->data.release();
    buffer->data.reset(static_cast<char *>(block));
    buffer->capacity = capacity;
    return 0;
}

} // namespace

buffer_result byte_buffer_append(byte_buffer *buffer, const char *data, size_t size, size_t limit)
{
    if (size == 0)
        return buffer_ok;
    if (buffer->size > limit || size > limit - buffer->size)
        return buffer_full;
    const size_t needed = buffer->size + size;
    if (needed > buffer->capacity &&
        reallocate(buffer, next_capacity(buffer->capacity, needed, limit)) != 0)
        return buffer_no_memory;
    memcpy_s(buffer->data.get() + buffer->size, buffer->capacity - buffer->size, data, size);
    buffer->size = needed;
    return buffer_ok;
}

void byte_buffer_reserve(byte_buffer *buffer, size_t size)
{
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    if (size <= buffer->capacity || size < page || reallocate(buffer, size) != 0)
        return;
    char *block = buffer->data.get();
    madvise(block + (page - reinterpret_cast<uintptr_t>(block) % page), size - page, MADV_HUGEPAGE);
}

buffer_result byte_buffer_append_all(byte_buffer *buffer,
                                     std::initializer_list<std::string_view> pieces, size_t limit)
{
    buffer_result result = buffer_ok;
    for (const std::string_view piece : pieces) {
        if (result == buffer_ok)
            result = byte_buffer_append(buffer, piece.data(), piece.size(), limit);
    }
    return result;
}

int byte_buffer_add(byte_buffer *buffer, std::initializer_list<std::string_view> pieces)
{
    return byte_buffer_append_all(buffer, pieces, unlimited) == buffer_ok ? 0 : -1;
}

int byte_buffer_replace(byte_buffer *buffer, size_t from, size_t end, std::string_view text)
{
    const size_t tail = buffer->size - end;
    const size_t room = end - from;
    const size_t growth = text.size() > room ? text.size() - room : 0;
    if (byte_buffer_append(buffer, text.data(), growth, unlimited) != buffer_ok)
        return -1;
    char *bytes = buffer->data.get();
    memmove(bytes + from + text.size(), bytes + end, tail);
    text.copy(bytes + from, text.size());
    buffer->size = from + text.size() + tail;
    return 0;
}

void byte_buffer_cut(byte_buffer *buffer, size_t limit)
{
    buffer->size = std::min(buffer->size, limit);
    if (buffer->capacity > limit)
        (void)reallocate(buffer, limit);
}

std::string_view byte_buffer_view(const byte_buffer *buffer)
{
    return {buffer->data.get(), buffer->size};
}

byte_buffer byte_buffer_take(byte_buffer *buffer)
{
    byte_buffer taken{std::move(buffer->data), buffer->size, buffer->capacity};
    buffer->size = 0;
    buffer->capacity = 0;
    return taken;
}

void byte_buffer_clear(byte_buffer *buffer)
{
    buffer->size = 0;
    if (buffer->capacity > kept_capacity) {
        buffer->data.reset();
        buffer->capacity = 0;
    }
}
