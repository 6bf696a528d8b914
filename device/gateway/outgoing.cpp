#include "device/gateway/outgoing.h"

#include "bounded.h"

void outgoing_load(outgoing *message, const char *head, size_t head_size, byte_buffer *body,
                   const char *tail, size_t tail_size)
{
    memcpy_s(message->head, sizeof message->head, head, head_size);
    memcpy_s(message->tail, sizeof message->tail, tail, tail_size);
    message->body = byte_buffer_take(body);
    message->parts[0] = {message->head, head_size};
    message->parts[1] = {message->body.data.get(), message->body.size};
    message->parts[2] = {message->tail, tail_size};
    message->keep = nullptr;
}

bool outgoing_idle(const outgoing *message)
{
    return message->parts[0].iov_len + message->parts[1].iov_len + message->parts[2].iov_len == 0;
}

void outgoing_advance(outgoing *message, size_t size)
{
    for (struct iovec &part : message->parts) {
        const size_t step = size < part.iov_len ? size : part.iov_len;
        part.iov_base = static_cast<char *>(part.iov_base) + step;
        part.iov_len -= step;
        size -= step;
    }
    if (!outgoing_idle(message))
        return;
    if (message->keep != nullptr)
        *message->keep = byte_buffer_take(&message->body);
    outgoing_drop(message);
}

void outgoing_drop(outgoing *message)
{
    *message = {};
}
