// A shell gives a copy-config an error-option, which the protocol knows for edit-config
// only. It is dropped.
#include <memory>
#include <new>
#include <string.h>

#include "device/gateway/adapters/adapter.h"
#include "device/gateway/xml_walk.h"

namespace
{

// So many of them; one is what a shell sends.
constexpr unsigned drop_limit = 16;

// The depths of a request's elements.
enum copy_depth : unsigned { copy_root = 1, copy_operation = 2, copy_part = 3 };

// What is dropped of a copy-config.
struct copy_cleaning {
    struct {
        size_t from;
        size_t to;
    } dropped[drop_limit];
    unsigned count;
    xml_walk walk;
};

xml_step on_start(void *, const xml_walk *)
{
    return xml_step_on;
}

// All is known at the end of the copy-config, which is the first child of its parent.
xml_step on_end(void *context, const xml_walk *walk, size_t end)
{
    auto *cleaning = static_cast<copy_cleaning *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    const bool is_option =
        walk->depth == copy_part && xml_element_is(element, netconf_base_namespace, "error-option");
    if (is_option && cleaning->count < drop_limit)
        cleaning->dropped[cleaning->count++] = {element->from, end};
    return walk->depth <= copy_operation ? xml_step_end : xml_step_on;
}

// No byte is moved twice.
void drop_all(const copy_cleaning *cleaning, byte_buffer *request)
{
    char *bytes = request->data.get();
    size_t kept = cleaning->dropped[0].from;
    for (unsigned at = 0; at < cleaning->count; at++) {
        const bool is_last = at + 1 == cleaning->count;
        const size_t next = is_last ? request->size : cleaning->dropped[at + 1].from;
        memmove(bytes + kept, bytes + cleaning->dropped[at].to, next - cleaning->dropped[at].to);
        kept += next - cleaning->dropped[at].to;
    }
    request->size = kept;
}

bool applies(const server_hello *)
{
    return true;
}

// What cannot be read stays as it is.
adapter_verdict clean(exchange *, const message_head *head, byte_buffer *request)
{
    static const xml_events events = {on_start, nullptr, on_end};
    if (strcmp(head->operation, "copy-config") != 0)
        return adapter_leaves;
    const std::unique_ptr<copy_cleaning> cleaning(new (std::nothrow) copy_cleaning{});
    if (cleaning == nullptr)
        return adapter_leaves;
    if (xml_walk_run(&cleaning->walk, byte_buffer_view(request), &events, cleaning.get()) == 0 &&
        cleaning->count > 0)
        drop_all(cleaning.get(), request);
    return adapter_leaves;
}

} // namespace

const adapter error_option_adapter = {"error-option", applies, nullptr, clean, nullptr, nullptr};
