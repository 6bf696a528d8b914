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
    &copy_to_running_adapter, &startup_adapter,       &session_start_adapter};
constexpr size_t adapter_count = sizeof adapters / sizeof adapters[0];
static_assert(adapter_count <= 16, "each has a bit");

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

// Logs a text, unless it is null, of the adapter of that place, unless it has said something.
void tell(exchange *exchange, size_t place, const char *text)
{
    const auto bit = static_cast<uint16_t>(1u << place);
    if (text == nullptr || (exchange->told & bit) != 0)
        return;
    report_shell(exchange->shell, "%s", text);
    exchange->told |= bit;
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

void adapters_report(exchange *exchange, const server_hello *hello)
{
    for (size_t place = 0; place < adapter_count; place++) {
        const adapter *each = adapters[place];
        if (each->notice != nullptr && is_needed(each, hello))
            tell(exchange, place, each->notice(hello));
    }
}

void adapters_offer(exchange *exchange, const server_hello *hello, message_head *head,
                    byte_buffer *request)
{
    exchange->server = hello;
    for (size_t place = 0; place < adapter_count; place++) {
        const adapter *each = adapters[place];
        if (each->request == nullptr || !is_needed(each, hello))
            continue;
        const adapter_verdict verdict = each->request(exchange, head, request);
        if (verdict != adapter_leaves)
            tell(exchange, place, each->first);
        if (verdict != adapter_takes)
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
    const uint16_t told = exchange->told;
    *exchange = {};
    exchange->shell = shell;
    exchange->told = told;
    return true;
}

void adapters_pass(exchange *exchange, const server_hello *hello, const message_head *head,
                   byte_buffer *message)
{
    for (size_t place = 0; place < adapter_count; place++) {
        const adapter *each = adapters[place];
        if (each->message != nullptr && is_needed(each, hello) &&
            each->message(hello, head, message))
            tell(exchange, place, each->first);
    }
}
