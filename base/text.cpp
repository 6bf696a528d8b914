#include "base/text.h"

#include <stdlib.h>
#include <string.h>
#include <utility>

#include "bounded.h"

secret_block::~secret_block()
{
    block_free(data, size);
}

text_buffer::text_buffer(text_buffer &&other) noexcept
{
    *this = std::move(other);
}

text_buffer &text_buffer::operator=(text_buffer &&other) noexcept
{
    text_clear(this);
    data = std::move(other.data);
    length = std::exchange(other.length, 0);
    capacity = std::exchange(other.capacity, 0);
    return *this;
}

text_buffer::~text_buffer()
{
    text_clear(this);
}

namespace
{

using text_pieces = std::initializer_list<std::string_view>;

// Adds the lengths of the pieces to *size; false when that would wrap.
bool add_lengths(text_pieces pieces, size_t *size)
{
    for (const std::string_view piece : pieces) {
        if (!size_add(*size, piece.size(), size))
            return false;
    }
    return true;
}

// Writes the pieces one after the other, and a zero byte, into room of this size.
void write_pieces(text_pieces pieces, char *out, size_t size)
{
    for (const std::string_view piece : pieces) {
        if (!piece.empty())
            memcpy_s(out, size, piece.data(), piece.size());
        out += piece.size();
        size -= piece.size();
    }
    *out = '\0';
}

} // namespace

heap_text text_copy(std::string_view text)
{
    return text_concat({text});
}

heap_text text_concat(std::initializer_list<std::string_view> pieces)
{
    size_t size = 1;
    if (!add_lengths(pieces, &size))
        return nullptr;
    heap_text joined(static_cast<char *>(malloc(size)));
    if (joined)
        write_pieces(pieces, joined.get(), size);
    return joined;
}

void text_replace(char **slot, heap_text text)
{
    const heap_text old(*slot);
    *slot = text.release();
}

void *mem_grow(void *block, size_t used, size_t size)
{
    if (block == nullptr || used >= size)
        return block;
    void *grown = calloc(1, size);
    if (grown != nullptr)
        memcpy_s(grown, size, block, used);
    block_free(block, used);
    return grown;
}

namespace
{

constexpr size_t first_capacity = 64;

int buffer_refuse(text_buffer *buffer)
{
    *buffer = text_buffer{};
    return -1;
}

// Makes room for `needed` bytes in a block of `capacity`, unless there is room.
int buffer_reserve(text_buffer *buffer, size_t needed, size_t capacity)
{
    if (needed <= buffer->capacity)
        return 0;
    char *block = buffer->data.release();
    void *grown =
        block == nullptr ? calloc(1, capacity) : mem_grow(block, buffer->length, capacity);
    if (grown == nullptr)
        return buffer_refuse(buffer);
    buffer->data.reset(static_cast<char *>(grown));
    buffer->capacity = capacity;
    return 0;
}

// The capacity for `needed` bytes that makes appending linear: what is there is
// doubled.
size_t doubled_capacity(size_t capacity, size_t needed)
{
    if (capacity < first_capacity)
        capacity = first_capacity;
    while (capacity < needed) {
        if (!size_add(capacity, capacity, &capacity))
            capacity = needed;
    }
    return capacity;
}

} // namespace

int text_reserve(text_buffer *buffer, std::initializer_list<size_t> lengths)
{
    size_t needed = 0;
    bool fits = size_add(buffer->length, 1, &needed);
    for (const size_t length : lengths)
        fits = fits && size_add(needed, length, &needed);
    return fits ? buffer_reserve(buffer, needed, needed) : buffer_refuse(buffer);
}

void text_clear(text_buffer *buffer)
{
    if (buffer->length > 0)
        block_wipe(buffer->data.get(), buffer->length);
    buffer->length = 0;
}

int text_append(text_buffer *buffer, std::string_view piece)
{
    return text_append_all(buffer, {piece});
}

int text_append_all(text_buffer *buffer, std::initializer_list<std::string_view> pieces)
{
    size_t needed = 0;
    if (!size_add(buffer->length, 1, &needed) || !add_lengths(pieces, &needed))
        return buffer_refuse(buffer);
    if (buffer_reserve(buffer, needed, doubled_capacity(buffer->capacity, needed)) != 0)
        return -1;
    write_pieces(pieces, buffer->data.get() + buffer->length, needed - buffer->length);
    buffer->length = needed - 1;
    return 0;
}

int text_prepend(text_buffer *buffer, std::string_view piece)
{
    if (text_reserve(buffer, {piece.size()}) != 0)
        return -1;
    char *text = buffer->data.get();
    memmove(text + piece.size(), text, buffer->length + 1);
    memcpy_s(text, buffer->capacity, piece.data(), piece.size());
    buffer->length += piece.size();
    return 0;
}

void text_keep(text_buffer *buffer, size_t start, size_t length)
{
    char *text = buffer->data.get();
    memmove(text, text + start, length);
    memset_s(text + length, buffer->capacity - length, 0, buffer->length - length);
    buffer->length = length;
}
