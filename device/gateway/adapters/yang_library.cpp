// A request of the gateway's own for the modules of a server, which tells in its hello only those
// that are written in YANG 1.0. The answer goes nowhere. Whatever it lacks, the edit that waits for
// it goes out.
//
// The library's second revision has sets of modules, and those that are only imported apart. A
// server that has it may have the first, too, and is asked for that when the second tells nothing.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/xml_walk.h"

namespace
{

constexpr char library_namespace[] = "urn:ietf:params:xml:ns:yang:ietf-yang-library";

// What is awaited.
enum library_step : uint8_t { library_step_sets, library_step_state };

// Whole modules: asked for some leaves of each, netconfd 2.13 reads memory that it has given back
// when another session began, and may die of it.
constexpr const char *questions[] = {
    "<get><filter type=\"subtree\"><yang-library "
    "xmlns=\"urn:ietf:params:xml:ns:yang:ietf-yang-library\"><module-set>"
    "<module/><import-only-module/></module-set></yang-library></filter></get>",
    "<get><filter type=\"subtree\"><modules-state "
    "xmlns=\"urn:ietf:params:xml:ns:yang:ietf-yang-library\">"
    "<module/></modules-state></filter></get>",
};

// A text that is cut is none.
struct kept_text {
    char bytes[xml_leaf_size];
    size_t size;
};

struct library_reader {
    server_modules *modules;
    kept_text name;
    kept_text uri;
};

bool is_library(const xml_element *element, std::string_view local)
{
    return xml_element_is(element, library_namespace, local);
}

bool is_module(const xml_element *element)
{
    return is_library(element, "module") || is_library(element, "import-only-module");
}

void keep(kept_text *kept, std::string_view text)
{
    kept->size = text.size() < xml_leaf_size ? text.copy(kept->bytes, text.size()) : 0;
}

xml_step end_module(library_reader *reader)
{
    const std::string_view uri(reader->uri.bytes, reader->uri.size);
    const std::string_view name(reader->name.bytes, uri.empty() ? 0 : reader->name.size);
    reader->name.size = 0;
    reader->uri.size = 0;
    return server_modules_add(reader->modules, name, uri) == 0 ? xml_step_on : xml_step_fail;
}

xml_step on_end(void *context, const xml_walk *walk)
{
    auto *reader = static_cast<library_reader *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    if (is_module(element))
        return end_module(reader);
    if (walk->depth < 2 || !is_module(element - 1))
        return xml_step_on;
    if (is_library(element, "name"))
        keep(&reader->name, xml_walk_leaf(walk));
    else if (is_library(element, "namespace"))
        keep(&reader->uri, xml_walk_leaf(walk));
    return xml_step_on;
}

void ask(exchange *exchange, library_step step)
{
    exchange->step = step;
    exchange_ask(exchange, "tarnd-gateway-library", questions[step]);
}

adapter_outcome take_reply(exchange *exchange, const message_head *, byte_buffer *message)
{
    const size_t known = exchange->learned->index.size;
    static const xml_events events = {nullptr, nullptr, on_end};
    library_reader reader{};
    reader.modules = exchange->learned;
    xml_read(byte_buffer_view(message), &events, &reader);
    server_modules_sort(exchange->learned);
    byte_buffer_clear(message);
    if (exchange->step == library_step_state || exchange->learned->index.size > known)
        return adapter_ends;
    ask(exchange, library_step_state);
    return adapter_asks;
}

constexpr adapter library_adapter = {.reply = take_reply};

} // namespace

void exchange_read_library(exchange *exchange, server_hello *hello)
{
    exchange->owner = &library_adapter;
    exchange->learned = &hello->modules;
    ask(exchange, hello->module_sets ? library_step_sets : library_step_state);
}
