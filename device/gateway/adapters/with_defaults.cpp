// How the server is to report values that nobody has set, when the operator wants that in one way
// (--with-defaults). Each request that reads data asks for it, and so does a copy of one datastore
// to another. A copy to running does not: the gateway may make an edit of it, and that would set
// what was a default. A request that says itself what it wants stays as it is.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/datastores.h"
#include "device/gateway/xml_walk.h"

namespace
{

xml_step on_start(void *, const xml_walk *walk)
{
    const xml_element *element = &walk->open[walk->depth - 1];
    const bool asks = walk->depth == request_part && element->local == "with-defaults";
    return asks ? xml_step_fail : xml_step_on;
}

xml_step on_end(void *operation, const xml_walk *walk)
{
    if (walk->depth != request_operation)
        return xml_step_on;
    *static_cast<xml_element *>(operation) = walk->open[request_operation - 1];
    return xml_step_end;
}

// Whether the operation reports data.
bool reads(const message_head *head, std::string_view request)
{
    if (!message_asks(head, "copy-config"))
        return message_asks(head, "get") || message_asks(head, "get-config");
    const request_datastores named = request_datastores_read(request);
    return !named.source.local.empty() && named.target.local != "running";
}

// The element becomes the last one of the operation. False: there is no memory for it.
bool append_part(byte_buffer *request, const xml_element *operation, std::string_view element)
{
    const std::string_view text = byte_buffer_view(request);
    const size_t end = operation->end;
    if (text[end - 2] != '/') {
        const size_t at = text.rfind("</", end - 1);
        return byte_buffer_replace(request, at, at, element) == 0;
    }
    byte_buffer rest{};
    return byte_buffer_add(&rest, {">", element, "</", operation->prefix, operation->local, ">"}) ==
               0 &&
           byte_buffer_replace(request, end - 2, end, byte_buffer_view(&rest)) == 0;
}

bool applies(const server_hello *hello)
{
    return hello->wanted.defaults != nullptr;
}

const char *notice(const server_hello *hello)
{
    return defaults_asked(hello)[0] == '\0'
               ? "the server does not report defaults in the way that is wanted (--with-defaults)"
               : nullptr;
}

adapter_verdict take_request(exchange *exchange, const message_head *head, byte_buffer *request)
{
    static const xml_events events = {on_start, nullptr, on_end};
    const std::string_view element = defaults_asked(exchange->server);
    if (element.empty() || !reads(head, byte_buffer_view(request)))
        return adapter_leaves;
    xml_element operation{};
    if (xml_read(byte_buffer_view(request), &events, &operation) != 0)
        return adapter_leaves;
    return append_part(request, &operation, element) ? adapter_rewrites : adapter_leaves;
}

} // namespace

const char *defaults_asked(const server_hello *hello)
{
    const defaults_mode *mode = hello->wanted.defaults;
    return mode != nullptr && (hello->defaults_modes & mode->bit) != 0 ? mode->element : "";
}

const adapter with_defaults_adapter = {.applies = applies,
                                       .notice = notice,
                                       .first = "defaults are asked for (--with-defaults)",
                                       .request = take_request};
