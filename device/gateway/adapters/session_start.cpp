// A notification that the session has begun, with which some servers answer a subscription. It is
// no news to a shell, which would find it at its first prompt.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/subscription.h"

namespace
{

bool leave_out(const server_hello *hello, const message_head *head, byte_buffer *message)
{
    if (head->kind == message_rpc_reply ||
        !subscription_tells_start(byte_buffer_view(message), hello->session_id))
        return false;
    byte_buffer_clear(message);
    return true;
}

} // namespace

const adapter session_start_adapter = {
    .first = "the notification that the session has begun is left out", .message = leave_out};
