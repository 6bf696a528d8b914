#include "device/gateway/datastores.h"

namespace
{

struct datastores_reader {
    request_datastores found;
    xml_element *part; // what the current part names; null: it is of no interest
};

xml_element *part_of(request_datastores *found, const xml_element *element)
{
    if (xml_is_base(element, "target"))
        return &found->target;
    return xml_is_base(element, "source") ? &found->source : nullptr;
}

xml_step on_start(void *context, const xml_walk *walk)
{
    auto *reader = static_cast<datastores_reader *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    const bool is_head = walk->depth == request_part || walk->depth == request_datastore;
    if (is_head && xml_is_base(element, "config"))
        return xml_step_end;
    if (walk->depth == request_part)
        reader->part = part_of(&reader->found, element);
    return xml_step_on;
}

xml_step on_end(void *context, const xml_walk *walk)
{
    auto *reader = static_cast<datastores_reader *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    if (walk->depth == request_datastore && reader->part != nullptr &&
        element->uri == netconf_base_namespace)
        *reader->part = *element;
    return xml_step_on;
}

} // namespace

int datastore_replace(byte_buffer *request, const xml_element *old, std::string_view name)
{
    byte_buffer element{};
    if (byte_buffer_add(&element, {"<", old->prefix, name, "/>"}) != 0)
        return -1;
    return byte_buffer_replace(request, old->from, old->end, byte_buffer_view(&element));
}

request_datastores request_datastores_read(std::string_view request)
{
    static const xml_events events = {on_start, nullptr, on_end};
    datastores_reader reader{};
    return xml_read(request, &events, &reader) == 0 ? reader.found : request_datastores{};
}
