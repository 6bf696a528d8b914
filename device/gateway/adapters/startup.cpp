// A server without a startup datastore, which refuses a save, and to read or delete startup, with
// whatever error it has for what it does not know. The shell gets one that says what is missing.
#include <string.h>

#include "device/gateway/adapters/adapter.h"
#include "device/gateway/answers.h"
#include "device/gateway/datastores.h"
#include "device/gateway/report.h"

namespace
{

constexpr char answer[] = "the server has no startup datastore (no startup capability)";

bool applies(const server_hello *hello)
{
    return !hello->startup;
}

// A copy of startup to running is left to others.
adapter_verdict take_request(exchange *exchange, const message_head *head, byte_buffer *request)
{
    const bool reads = strcmp(head->operation, "get-config") == 0;
    const bool writes = strcmp(head->operation, "copy-config") == 0 ||
                        strcmp(head->operation, "delete-config") == 0;
    if ((!reads && !writes) || head->message_id == nullptr)
        return adapter_leaves;
    const request_datastores named = request_datastores_read(byte_buffer_view(request));
    if ((reads ? named.source.name : named.target.name) != "startup")
        return adapter_leaves;
    exchange_ask_body(exchange, request, false);
    return adapter_takes;
}

adapter_outcome take_reply(exchange *exchange, const message_head *head, byte_buffer *message)
{
    byte_buffer refusal{};
    if (head->is_error && failure_reply_write(exchange->message_id.get(), answer, &refusal) == 0) {
        report_text text;
        error_text_read(message->data.get(), message->size, text.text, sizeof text.text);
        report_shell(exchange->shell, "startup is refused: %s", report_clean(text.text).text);
        *message = byte_buffer_take(&refusal);
    }
    return adapter_ends;
}

} // namespace

const adapter startup_adapter = {.applies = applies, .request = take_request, .reply = take_reply};
