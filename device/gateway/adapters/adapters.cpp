#include "device/gateway/adapters/adapter.h"

#include <string.h>
#include <utility>

#include "device/gateway/answers.h"
#include "device/gateway/report.h"

namespace
{

constexpr const adapter *adapters[] = {
    &copy_option_adapter,     &edit_option_adapter,   &empty_element_adapter,
    &module_prefixes_adapter, &with_defaults_adapter, &plain_data_adapter,
    &candidate_adapter,       &unconfirmed_adapter,   &lock_adapter,
    &copy_to_running_adapter, &startup_adapter};

// Whether the message is the reply with the id that is awaited, or one without any: the
// answer of a server that could not read the request so far.
bool answers(const exchange *exchange, const message_head *head)
{
    const char *id = exchange->awaited != nullptr ? exchange->awaited : exchange->message_id.get();
    return head->kind == message_rpc_reply &&
           (head->message_id == nullptr || strcmp(head->message_id.get(), id) == 0);
}

bool is_needed(const adapter *each, const server_hello *hello)
{
    return each->applies == nullptr || each->applies(hello);
}

} // namespace

void exchange_ask(exchange *exchange, const char *id, std::string_view operation)
{
    byte_buffer request{};
    if (request_write(id, operation, &request) != 0)
        request = {};
    exchange_ask_body(exchange, &request, false);
    exchange->awaited = id;
}

void exchange_ask_body(exchange *exchange, byte_buffer *request, bool keeps)
{
    exchange->next = byte_buffer_take(request);
    exchange->awaited = nullptr;
    exchange->asks = true;
    exchange->keeps_next = keeps;
}

bool exchange_idle(const exchange *exchange)
{
    return exchange->owner == nullptr;
}

void adapters_report(const server_hello *hello, unsigned shell)
{
    for (const adapter *each : adapters) {
        const char *text =
            each->notice != nullptr && is_needed(each, hello) ? each->notice(hello) : nullptr;
        if (text != nullptr)
            report_shell(shell, "%s", text);
    }
}

void adapters_offer(exchange *exchange, const server_hello *hello, message_head *head,
                    byte_buffer *request)
{
    exchange->server = hello;
    for (const adapter *each : adapters) {
        if (each->request == nullptr || !is_needed(each, hello) ||
            each->request(exchange, head, request) != adapter_takes)
            continue;
        exchange->owner = each;
        exchange->message_id = std::move(head->message_id);
        return;
    }
}

bool adapters_take(exchange *exchange, const message_head *head, byte_buffer *message)
{
    if (!answers(exchange, head))
        return true;
    if (exchange->owner->reply(exchange, head, message) == adapter_asks)
        return false;
    const unsigned shell = exchange->shell;
    *exchange = {};
    exchange->shell = shell;
    return true;
}

void adapters_pass(const server_hello *hello, const message_head *head, byte_buffer *message)
{
    for (const adapter *each : adapters) {
        if (each->message != nullptr && is_needed(each, hello))
            each->message(head, message);
    }
}
