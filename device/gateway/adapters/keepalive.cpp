// A request of the gateway's own, which keeps a server from ending an idle session. Its answer,
// whatever it is, goes nowhere.
#include "device/gateway/adapters/adapter.h"

namespace
{

adapter_outcome take_reply(exchange *, const message_head *, byte_buffer *message)
{
    byte_buffer_clear(message);
    return adapter_ends;
}

constexpr adapter keepalive_adapter = {.reply = take_reply};

} // namespace

void exchange_keep_alive(exchange *exchange)
{
    exchange->owner = &keepalive_adapter;
    exchange_ask(exchange, "tarnd-gateway-keepalive",
                 "<get-config><source><running/></source><filter type=\"subtree\"/></get-config>");
}
