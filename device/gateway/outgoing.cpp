#include "device/gateway/outgoing.h"

#include "bounded.h"

namespace
{

size_t total_size(const outgoing *message)
{
    return message->head_size + message->body.size + message->tail_size;
}

// Adds what is left of one part; *skip counts the bytes already sent.
int add_part(struct iovec *parts, int count, const char *data, size_t size, size_t *skip)
{
    if (*skip >= size) {
        *skip -= size;
        return count;
    }
    // writev only reads, but its record has no const.
    parts[count].iov_base = const_cast<char *>(data + *skip);
    parts[count].iov_len = size - *skip;
    *skip = 0;
    return count + 1;
}

} // namespace

void outgoing_load(outgoing *message, const char *head, size_t head_size, byte_buffer *body,
                   const char *tail, size_t tail_size)
{
    memcpy_s(message->head, sizeof message->head, head, head_size);
    message->head_size = head_size;
    memcpy_s(message->tail, sizeof message->tail, tail, tail_size);
    message->tail_size = tail_size;
    message->body = byte_buffer_take(body);
    message->sent = 0;
    message->keep = nullptr;
}

bool outgoing_idle(const outgoing *message)
{
    return total_size(message) == 0;
}

int outgoing_parts(const outgoing *message, struct iovec parts[outgoing_part_count])
{
    size_t skip = message->sent;
    int count = add_part(parts, 0, message->head, message->head_size, &skip);
    count = add_part(parts, count, message->body.data.get(), message->body.size, &skip);
    return add_part(parts, count, message->tail, message->tail_size, &skip);
}

void outgoing_advance(outgoing *message, size_t size)
{
    message->sent += size;
    if (message->sent != total_size(message))
        return;
    if (message->keep != nullptr)
        *message->keep = byte_buffer_take(&message->body);
    outgoing_drop(message);
}

void outgoing_drop(outgoing *message)
{
    *message = {};
}
