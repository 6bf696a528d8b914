#include "device/gateway/outgoing.h"

void outgoing_load(outgoing *message, std::string_view head, byte_buffer *body,
                   std::string_view tail)
{
    message->body = byte_buffer_take(body);
    message->parts[0] = {message->head, head.copy(message->head, sizeof message->head)};
    message->parts[1] = {message->body.data.get(), message->body.size};
    message->parts[2] = {message->tail, tail.copy(message->tail, sizeof message->tail)};
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
