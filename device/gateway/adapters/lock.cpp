// An edit of running between a lock of it and its unlock, when the operator wants so (--lock). They
// carry the message id of the shell's request, so that the server's refusal of the lock can be its
// answer.
//
// Where running is written through the candidate, that is locked already.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/datastores.h"
#include "device/gateway/report.h"

namespace
{

// What is awaited.
enum lock_step : uint8_t { lock_step_lock, lock_step_edit, lock_step_unlock };

bool applies(const server_hello *hello)
{
    return hello->wanted.lock && hello->writable_running;
}

adapter_verdict take_request(exchange *exchange, const message_head *head, byte_buffer *request)
{
    if (!message_asks(head, "edit-config") || head->message_id == nullptr ||
        request_datastores_read(byte_buffer_view(request)).target.local != "running")
        return adapter_leaves;
    exchange->request = byte_buffer_take(request);
    exchange->step = lock_step_lock;
    exchange_ask(exchange, head->message_id.get(), "<lock><target><running/></target></lock>");
    return adapter_takes;
}

adapter_outcome take_reply(exchange *exchange, const message_head *head, byte_buffer *message)
{
    const bool fails = head->is_error && !error_is_warning(byte_buffer_view(message));
    switch (exchange->step) {
    case lock_step_lock:
        if (fails)
            return adapter_ends;
        byte_buffer_clear(message);
        exchange->step = lock_step_edit;
        exchange_ask_body(exchange, &exchange->request, false);
        return adapter_asks;
    case lock_step_edit:
        exchange->answer = byte_buffer_take(message);
        exchange->step = lock_step_unlock;
        exchange_ask(exchange, exchange->message_id.get(),
                     "<unlock><target><running/></target></unlock>");
        return adapter_asks;
    default:
        if (fails)
            report_shell(exchange->shell, "the server does not let go of running");
        *message = byte_buffer_take(&exchange->answer);
        return adapter_ends;
    }
}

} // namespace

const adapter lock_adapter = {.applies = applies,
                              .first = "running is locked for an edit (--lock)",
                              .request = take_request,
                              .reply = take_reply};
