#include "device/gateway/adapters/copied.h"

#include <algorithm>

#include "bounded.h"
#include "device/gateway/answers.h"

void copied_ask_startup(exchange *exchange)
{
    exchange_ask(exchange, "tarnd-gateway-startup",
                 "<get-config><source><startup/></source></get-config>");
}

void copied_ask_running(exchange *exchange)
{
    // A configuration was exported with the defaults that the operator wants to see. What startup
    // lacks, running need not have.
    const bool from_startup = exchange->source.size > 0;
    char operation[256];
    sprintf_s(operation, sizeof operation, "<get-config><source><running/></source>%s</get-config>",
              from_startup ? "" : defaults_asked(exchange->server));
    exchange_ask(exchange, "tarnd-gateway-running", operation);
}

running_source copied_source(const exchange *exchange)
{
    return {byte_buffer_view(&exchange->request), byte_buffer_view(&exchange->source),
            !exchange->server->base_1_1};
}

report_text copied_fault(const exchange *exchange, const byte_buffer *message)
{
    const running_source source = copied_source(exchange);
    std::string_view name;
    const char *reason = running_edit_check(&source, byte_buffer_view(message), &name);
    char text[100 + sizeof " differs"];
    sprintf_s(text, sizeof text, "%.*s differs",
              static_cast<int>(std::min(name.size(), size_t{100})), name.data());
    return report_clean(reason != nullptr ? reason : name.empty() ? "" : text);
}

byte_buffer copied_failure(const exchange *exchange, const char *reason)
{
    char text[report_text_size];
    sprintf_s(text, sizeof text, "running was changed but is not what was to be copied: %s",
              reason);
    report_shell(exchange->shell, "%s", text);
    byte_buffer reply{};
    if (failure_reply_write(exchange->message_id.get(), text, &reply) != 0)
        byte_buffer_clear(&reply);
    return reply;
}
