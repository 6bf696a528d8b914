// An element of an edit-config without content, which a shell writes in two tags. It becomes one:
// netconfd takes two with nothing in between for a wrong value where a number belongs, even of
// a leaf that is deleted.
#include <string.h>

#include "device/gateway/adapters/adapter.h"
#include "device/gateway/xml_pieces.h"

namespace
{

constexpr std::string_view tag_close = "/>";

// The bytes from..to of a request move in front to where the kept ones end.
void keep(byte_buffer *request, size_t *kept, size_t from, size_t to)
{
    memmove(request->data.get() + *kept, request->data.get() + from, to - from);
    *kept += to - from;
}

// Whether there were some. No byte is moved twice, and those that are not read yet not at all.
bool join_tags(byte_buffer *request)
{
    const std::string_view text = byte_buffer_view(request);
    size_t kept = 0;
    size_t copied = 0; // of the text, up to here
    size_t at = 0;
    xml_piece_kind last = xml_piece_text;
    xml_piece piece;
    for (; xml_piece_next(text, &at, &piece); last = piece.kind) {
        if (last != xml_piece_start || piece.kind != xml_piece_end)
            continue;
        keep(request, &kept, copied, piece.from - 1);
        tag_close.copy(request->data.get() + kept, tag_close.size());
        kept += tag_close.size();
        copied = piece.end;
    }
    if (copied == 0)
        return false;
    keep(request, &kept, copied, text.size());
    request->size = kept;
    return true;
}

adapter_verdict take_request(exchange *, const message_head *head, byte_buffer *request)
{
    return message_asks(head, "edit-config") && join_tags(request) ? adapter_rewrites
                                                                   : adapter_leaves;
}

} // namespace

const adapter empty_element_adapter = {.first = "an element without content goes out as one tag",
                                       .request = take_request};
