#include "device/gateway/copy_exchange.h"

#include <string.h>
#include <utility>

#include "bounded.h"
#include "device/gateway/copy_request.h"
#include "device/gateway/frame.h"
#include "device/gateway/report.h"
#include "device/gateway/running_edit.h"

namespace
{

enum exchange_step : uint8_t {
    idle,
    await_copy, // the answer to the shell's own request
    ask_startup,
    await_startup,
    ask_running,
    await_running,
    send_edit,
    await_edit,
};

// Those after the first do what it could not know to be left (running_edit.h).
constexpr uint8_t edit_limit = 3;

constexpr char read_startup_id[] = "tarnd-gateway-startup";
constexpr char read_running_id[] = "tarnd-gateway-running";
constexpr char read_startup_text[] =
    "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"tarnd-gateway-startup\">"
    "<get-config><source><startup/></source></get-config></rpc>";
constexpr char read_running_text[] =
    "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"tarnd-gateway-running\">"
    "<get-config><source><running/></source></get-config></rpc>";

std::string_view view(const byte_buffer *buffer)
{
    return {buffer->data.get(), buffer->size};
}

void end(copy_exchange *exchange)
{
    *exchange = {};
}

// Gives up when nothing has changed: the refusal is the answer.
bool refuse(copy_exchange *exchange, unsigned shell, byte_buffer *message, const char *reason)
{
    report_shell(shell, "the copy to running is refused: %s", reason);
    *message = byte_buffer_take(&exchange->refusal);
    end(exchange);
    return true;
}

// Gives up when something has. Without memory for the answer the shell gets the
// refusal, which says less, but nothing wrong.
bool fail(copy_exchange *exchange, unsigned shell, byte_buffer *message, const char *reason)
{
    char text[report_text_size];
    sprintf_s(text, sizeof text, "running was changed but is not what was to be copied: %s",
              reason);
    report_shell(shell, "%s", text);
    byte_buffer reply{};
    if (!failure_reply_write(exchange->message_id.get(), text, &reply))
        reply = byte_buffer_take(&exchange->refusal);
    *message = byte_buffer_take(&reply);
    end(exchange);
    return true;
}

bool give_up(copy_exchange *exchange, unsigned shell, byte_buffer *message, const char *reason)
{
    return exchange->edits == 0 ? refuse(exchange, shell, message, reason)
                                : fail(exchange, shell, message, reason);
}

bool take_copy_answer(copy_exchange *exchange, unsigned shell, const message_head *head,
                      byte_buffer *message)
{
    running_copy copy;
    if (!head->is_error ||
        !error_tag_is(message->data.get(), message->size, "operation-not-supported") ||
        !running_copy_read(view(&exchange->request), &copy)) {
        end(exchange);
        return true;
    }
    report_shell(shell, "the server does not copy to running: an edit takes the copy's place");
    exchange->refusal = byte_buffer_take(message);
    exchange->step = copy.from_startup ? ask_startup : ask_running;
    return false;
}

bool take_startup(copy_exchange *exchange, unsigned shell, const message_head *head,
                  byte_buffer *message)
{
    if (head->is_error)
        return refuse(exchange, shell, message, "startup cannot be read");
    exchange->startup = byte_buffer_take(message);
    exchange->step = ask_running;
    return false;
}

running_source source_of(const copy_exchange *exchange)
{
    return {view(&exchange->request), view(&exchange->startup)};
}

// True when running is now what was to be copied; otherwise *fault says why it is
// not known to be.
bool is_copied(const copy_exchange *exchange, const byte_buffer *message, report_text *fault)
{
    constexpr size_t name_limit = 100;
    const running_source source = source_of(exchange);
    std::string_view name;
    const char *reason = running_edit_check(&source, view(message), &name);
    if (reason == nullptr && name.empty())
        return true;
    const size_t size = name.size() < name_limit ? name.size() : name_limit;
    char text[name_limit + 16];
    sprintf_s(text, sizeof text, "%.*s differs", static_cast<int>(size), name.data());
    *fault = report_clean(reason != nullptr ? reason : text);
    return false;
}

bool make_edit(copy_exchange *exchange, unsigned shell, byte_buffer *message)
{
    const running_source source = source_of(exchange);
    const char *reason =
        running_edit_write(&source, view(message), exchange->edits > 0, &exchange->edit);
    if (reason != nullptr)
        return give_up(exchange, shell, message, reason);
    byte_buffer_clear(message);
    exchange->step = send_edit;
    return false;
}

bool take_running(copy_exchange *exchange, unsigned shell, const message_head *head,
                  byte_buffer *message)
{
    if (head->is_error)
        return give_up(exchange, shell, message, "running cannot be read");
    if (exchange->edits == 0)
        return make_edit(exchange, shell, message);
    report_text fault;
    if (is_copied(exchange, message, &fault)) {
        *message = byte_buffer_take(&exchange->answer);
        end(exchange);
        return true;
    }
    return exchange->edits < edit_limit ? make_edit(exchange, shell, message)
                                        : fail(exchange, shell, message, fault.text);
}

bool take_edit_answer(copy_exchange *exchange, unsigned shell, const message_head *head,
                      byte_buffer *message)
{
    if (head->is_error && exchange->edits > 0)
        return fail(exchange, shell, message, "the server refuses another edit");
    if (head->is_error) {
        end(exchange);
        return true;
    }
    if (exchange->edits == 0)
        exchange->answer = byte_buffer_take(message);
    byte_buffer_clear(message);
    exchange->edits++;
    exchange->step = ask_running;
    return false;
}

// True when the reply is the one with that message id, or one without any: the
// answer of a server that could not read the request so far.
bool answers(const message_head *head, const char *message_id)
{
    return head->kind == message_rpc_reply &&
           (head->message_id == nullptr || strcmp(head->message_id.get(), message_id) == 0);
}

bool ask(copy_exchange *exchange, const char *text, exchange_step next, byte_buffer *request)
{
    exchange->step = next;
    byte_buffer_append(request, text, strlen(text), frame_body_limit);
    return true;
}

} // namespace

bool copy_exchange_idle(const copy_exchange *exchange)
{
    return exchange->step == idle;
}

void copy_exchange_begin(copy_exchange *exchange, const byte_buffer *request)
{
    running_copy copy;
    message_head head = message_head_read(request->data.get(), request->size);
    if (head.message_id == nullptr || !running_copy_read(view(request), &copy))
        return;
    exchange->message_id = std::move(head.message_id);
    exchange->step = await_copy;
}

bool copy_exchange_take(copy_exchange *exchange, unsigned shell, const message_head *head,
                        byte_buffer *message)
{
    switch (exchange->step) {
    case await_copy:
        return !answers(head, exchange->message_id.get()) ||
               take_copy_answer(exchange, shell, head, message);
    case await_startup:
        return !answers(head, read_startup_id) || take_startup(exchange, shell, head, message);
    case await_running:
        return !answers(head, read_running_id) || take_running(exchange, shell, head, message);
    case await_edit:
        return !answers(head, exchange->message_id.get()) ||
               take_edit_answer(exchange, shell, head, message);
    default:
        return true;
    }
}

bool copy_exchange_next(copy_exchange *exchange, byte_buffer *request)
{
    switch (exchange->step) {
    case ask_startup:
        return ask(exchange, read_startup_text, await_startup, request);
    case ask_running:
        return ask(exchange, read_running_text, await_running, request);
    case send_edit:
        *request = byte_buffer_take(&exchange->edit);
        exchange->step = await_edit;
        return true;
    default:
        return false;
    }
}
