// The error-option of a request, which is dropped where it means nothing: a shell gives one to a
// copy-config, and the protocol knows it for edit-config only; and to each edit-config it gives
// "rollback-on-error", which a server refuses that cannot do so.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/known_beginning.h"
#include "device/gateway/xml_walk.h"

namespace
{

// So many of them; one is what a shell sends.
constexpr unsigned drop_limit = 16;

struct dropped_part {
    size_t from;
    size_t end;
};

// What is dropped of a request.
struct option_cleaning {
    dropped_part dropped[drop_limit];
    unsigned count;
    size_t read; // of the request
};

// The configuration of an edit-config, which may be long, is its last part.
xml_step on_start(void *context, const xml_walk *walk)
{
    const xml_element *element = &walk->open[walk->depth - 1];
    static_cast<option_cleaning *>(context)->read = element->content;
    const bool is_config = walk->depth == request_part && xml_is_base(element, "config");
    return is_config ? xml_step_end : xml_step_on;
}

// All is known at the end of the operation, which is the first child of its parent.
xml_step on_end(void *context, const xml_walk *walk)
{
    auto *cleaning = static_cast<option_cleaning *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    const bool is_option = walk->depth == request_part && xml_is_base(element, "error-option");
    if (is_option && cleaning->count < drop_limit)
        cleaning->dropped[cleaning->count++] = {element->from, element->end};
    cleaning->read = element->end;
    return walk->depth <= request_operation ? xml_step_end : xml_step_on;
}

// What cannot be read stays as it is.
adapter_verdict clean(const char *operation, const message_head *head, byte_buffer *request)
{
    static const xml_events events = {on_start, nullptr, on_end};
    static option_cleaning cleaning; // of the latest request that was read ...
    static known_beginning known;    // ... as far as it was
    const std::string_view text = byte_buffer_view(request);
    if (!message_asks(head, operation))
        return adapter_leaves;
    if (!known_beginning_is(&known, text)) {
        cleaning = {};
        known = {};
        if (xml_read(text, &events, &cleaning) != 0)
            return adapter_leaves;
        known_beginning_keep(&known, text.substr(0, cleaning.read));
    }
    for (unsigned at = cleaning.count; at > 0; at--)
        byte_buffer_replace(request, cleaning.dropped[at - 1].from, cleaning.dropped[at - 1].end,
                            "");
    return cleaning.count > 0 ? adapter_rewrites : adapter_leaves;
}

adapter_verdict take_copy(exchange *, const message_head *head, byte_buffer *request)
{
    return clean("copy-config", head, request);
}

bool edit_applies(const server_hello *hello)
{
    return !hello->rollback_on_error;
}

// A candidate is discarded when an edit of it fails.
const char *edit_notice(const server_hello *hello)
{
    return hello->writable_running
               ? "a commit that is refused may have been done in part (no rollback-on-error "
                 "capability)"
               : nullptr;
}

adapter_verdict take_edit(exchange *, const message_head *head, byte_buffer *request)
{
    return clean("edit-config", head, request);
}

} // namespace

const adapter copy_option_adapter = {.request = take_copy};
const adapter edit_option_adapter = {
    .applies = edit_applies,
    .notice = edit_notice,
    .first = "the error-option of an edit is left out (no rollback-on-error capability)",
    .request = take_edit};
