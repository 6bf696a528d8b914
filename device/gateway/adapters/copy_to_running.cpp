// A copy to running that the server may refuse: it may announce a writable running datastore
// and support no copy to it all the same (netconfd is one).
//
// The copy goes to the server as it is. When the answer is that the operation is
// not supported, the gateway reads what it needs, sends an edit-config in the
// copy's place (running_edit.h), and reads running again: the answer to the edit
// is the answer to the copy when running is now what was to be copied. If it is
// not, another edit is made of what is there now, and a third. The shell gets
//
// - the server's refusal, if anything fails before the first edit;
// - the server's error, if it refuses that edit: nothing has changed then;
// - an error of the gateway's own, if running has changed and is not known to be
//   the source at the end. So nobody takes it for restored.
//
// Another session that edits running meanwhile is seen in the same way.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/adapters/copied.h"
#include "device/gateway/report.h"
#include "device/gateway/running_copy.h"

namespace
{

// What is awaited.
enum copy_step : uint8_t {
    copy_step_copy, // the answer to the shell's own request
    copy_step_startup,
    copy_step_running,
    copy_step_edit,
};

// Those after the first do what it could not know to be left (running_edit.h).
constexpr uint8_t edit_limit = 3;

adapter_outcome ask_running(exchange *exchange)
{
    exchange->step = copy_step_running;
    copied_ask_running(exchange);
    return adapter_asks;
}

// Gives up when nothing has changed: the refusal is the answer.
adapter_outcome refuse(exchange *exchange, byte_buffer *message, const char *reason)
{
    report_shell(exchange->shell, "the copy to running is refused: %s", reason);
    *message = byte_buffer_take(&exchange->refusal);
    return adapter_ends;
}

// Gives up when something has. Without memory for the answer the shell gets the
// refusal, which says less, but nothing wrong.
adapter_outcome fail(exchange *exchange, byte_buffer *message, const char *reason)
{
    *message = copied_failure(exchange, reason);
    if (message->size == 0)
        *message = byte_buffer_take(&exchange->refusal);
    return adapter_ends;
}

adapter_outcome give_up(exchange *exchange, byte_buffer *message, const char *reason)
{
    return exchange->rounds == 0 ? refuse(exchange, message, reason)
                                 : fail(exchange, message, reason);
}

adapter_outcome take_copy_answer(exchange *exchange, const message_head *head, byte_buffer *message)
{
    running_copy copy;
    if (!head->is_error ||
        !error_has(byte_buffer_view(message), "error-tag", "operation-not-supported") ||
        !running_copy_read(byte_buffer_view(&exchange->request), &copy))
        return adapter_ends;
    report_shell(exchange->shell,
                 "the server does not copy to running: an edit takes the copy's place");
    exchange->refusal = byte_buffer_take(message);
    if (!copy.from_startup)
        return ask_running(exchange);
    exchange->step = copy_step_startup;
    copied_ask_startup(exchange);
    return adapter_asks;
}

adapter_outcome take_startup(exchange *exchange, const message_head *head, byte_buffer *message)
{
    if (head->is_error)
        return refuse(exchange, message, "startup cannot be read");
    exchange->source = byte_buffer_take(message);
    return ask_running(exchange);
}

adapter_outcome make_edit(exchange *exchange, byte_buffer *message)
{
    const running_source source = copied_source(exchange);
    byte_buffer edit{};
    const char *reason =
        running_edit_write(&source, byte_buffer_view(message), exchange->rounds > 0, &edit);
    if (reason != nullptr)
        return give_up(exchange, message, reason);
    byte_buffer_clear(message);
    exchange->step = copy_step_edit;
    exchange_ask_body(exchange, &edit, false);
    return adapter_asks;
}

adapter_outcome take_running(exchange *exchange, const message_head *head, byte_buffer *message)
{
    if (head->is_error)
        return give_up(exchange, message, "running cannot be read");
    if (exchange->rounds == 0)
        return make_edit(exchange, message);
    const report_text fault = copied_fault(exchange, message);
    if (fault.text[0] == '\0') {
        *message = byte_buffer_take(&exchange->answer);
        return adapter_ends;
    }
    return exchange->rounds < edit_limit ? make_edit(exchange, message)
                                         : fail(exchange, message, fault.text);
}

adapter_outcome take_edit_answer(exchange *exchange, const message_head *head, byte_buffer *message)
{
    if (head->is_error && exchange->rounds > 0)
        return fail(exchange, message, "the server refuses another edit");
    if (head->is_error)
        return adapter_ends;
    if (exchange->rounds == 0)
        exchange->answer = byte_buffer_take(message);
    byte_buffer_clear(message);
    exchange->rounds++;
    return ask_running(exchange);
}

bool applies(const server_hello *hello)
{
    return hello->writable_running && hello->rollback_on_error;
}

const char *notice(const server_hello *hello)
{
    return hello->base_1_1 ? nullptr
                           : "what a copy to running lacks is deleted, not removed (NETCONF 1.0)";
}

adapter_verdict take_request(exchange *exchange, const message_head *head, byte_buffer *request)
{
    running_copy copy;
    if (!message_asks(head, "copy-config") || head->message_id == nullptr ||
        !running_copy_read(byte_buffer_view(request), &copy))
        return adapter_leaves;
    exchange->step = copy_step_copy;
    exchange_ask_body(exchange, request, true);
    return adapter_takes;
}

adapter_outcome take_reply(exchange *exchange, const message_head *head, byte_buffer *message)
{
    switch (exchange->step) {
    case copy_step_copy:
        return take_copy_answer(exchange, head, message);
    case copy_step_startup:
        return take_startup(exchange, head, message);
    case copy_step_running:
        return take_running(exchange, head, message);
    default:
        return take_edit_answer(exchange, head, message);
    }
}

} // namespace

const adapter copy_to_running_adapter = {
    .applies = applies, .notice = notice, .request = take_request, .reply = take_reply};
