// A server without a startup datastore, which refuses a save, and to read or delete startup, with
// whatever error it has for what it does not know. The shell gets one that says what is missing.
//
// Or, when the operator says that such a server keeps what is committed (--startup-is-running), a
// save that is refused is done, and running is read for startup.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/answers.h"
#include "device/gateway/datastores.h"
#include "device/gateway/report.h"

namespace
{

// What a refusal means.
enum startup_step : uint8_t { startup_step_missing, startup_step_saved };

constexpr char answer[] = "the server has no startup datastore (no startup capability)";

bool applies(const server_hello *hello)
{
    return !hello->startup;
}

const char *notice(const server_hello *hello)
{
    return hello->wanted.startup_is_running ? "running is taken for startup (no startup capability)"
                                            : answer;
}

// A copy of startup to running is left to others.
adapter_verdict take_request(exchange *exchange, const message_head *head, byte_buffer *request)
{
    const bool reads = message_asks(head, "get-config");
    const bool writes = message_asks(head, "copy-config") || message_asks(head, "delete-config");
    if ((!reads && !writes) || head->message_id == nullptr)
        return adapter_leaves;
    const request_datastores named = request_datastores_read(byte_buffer_view(request));
    if ((reads ? named.source.local : named.target.local) != "startup")
        return adapter_leaves;
    if (reads && exchange->server->wanted.startup_is_running) {
        datastore_replace(request, &named.source, "running");
        return adapter_leaves; // without memory as it is
    }
    const bool is_saved =
        named.source.local == "running" && exchange->server->wanted.startup_is_running;
    exchange->step = is_saved ? startup_step_saved : startup_step_missing;
    exchange_ask_body(exchange, request, false);
    return adapter_takes;
}

adapter_outcome take_reply(exchange *exchange, const message_head *head, byte_buffer *message)
{
    if (!head->is_error)
        return adapter_ends;
    const char *id = exchange->message_id.get();
    const bool is_saved = exchange->step == startup_step_saved;
    byte_buffer reply{};
    if ((is_saved ? ok_reply_write(id, &reply) : failure_reply_write(id, answer, &reply)) != 0)
        return adapter_ends; // without memory the server's own words have to do
    if (!is_saved) {
        const report_text error = error_text_read(byte_buffer_view(message));
        report_shell(exchange->shell, "startup is refused: %s", error.text);
    }
    *message = byte_buffer_take(&reply);
    return adapter_ends;
}

} // namespace

const adapter startup_adapter = {
    .applies = applies, .notice = notice, .request = take_request, .reply = take_reply};
