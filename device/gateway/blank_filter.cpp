// What passes as it is is copied late, many tags at once: when something is left out or
// written in another way, and at the end of the input. When a tag shows that blanks stand
// between elements, they are left out, or if they have been copied the output is cut back
// to where the interval began. Only an interval with comments or processing instructions
// in it is gone over again, once, to keep those; so the whole stays linear.
//
// What a piece ends in that cannot be told without what follows (half a character, the
// beginning of "-->") waits in the filter for more, and is looked at again with it.
#include "device/gateway/blank_filter.h"

#include <string.h>

#include "bounded.h"
#include "code_point.h"
#include "device/gateway/xml_characters.h"

namespace
{

enum filter_state : uint8_t {
    order_mark,
    text,
    comment,      // after "<!--"
    cdata,        // after "<![CDATA["
    instruction,  // after "<?"
    start_tag,    // after '<' and before a name
    quoted_value, // in a start tag
    end_tag,      // after "</"
};

// One call's input, and where its result goes.
struct filter_pass {
    blank_filter *filter;
    const char *at;
    const char *end;
    const char *copied; // up to here; what stands between it and at passes
    byte_buffer *out;
    size_t limit;
    bool waits; // for what follows the input
};

constexpr std::string_view order_mark_bytes = "\xEF\xBB\xBF";

// What stands between tags and is no plain text, by its state.
constexpr struct aside {
    std::string_view opener;
    std::string_view closer;
} asides[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};

bool is_all_blank(const char *data, size_t size)
{
    return xml_trimmed({data, size}).empty();
}

bool begins_name(char byte)
{
    const auto code = static_cast<unsigned char>(byte);
    return (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') || code == '_' ||
           code == ':' || code >= 0x80;
}

std::string_view rest_of(const filter_pass *pass)
{
    return {pass->at, static_cast<size_t>(pass->end - pass->at)};
}

// Whether the input begins with that, or ends on the way there and has to wait.
bool begins_with(filter_pass *pass, std::string_view opener)
{
    const std::string_view rest = rest_of(pass);
    const bool fits = rest.substr(0, opener.size()) == opener.substr(0, rest.size());
    pass->waits = fits && rest.size() < opener.size();
    return fits;
}

// Where in the output the next byte of the input comes.
size_t position(const filter_pass *pass)
{
    return pass->out->size + static_cast<size_t>(pass->at - pass->copied);
}

filter_result append(filter_pass *pass, const char *data, size_t size)
{
    switch (byte_buffer_append(pass->out, data, size, pass->limit)) {
    case buffer_ok:
        return filter_ok;
    case buffer_full:
        return filter_too_large;
    default:
        return filter_no_memory;
    }
}

// Copies the input up to here.
filter_result copy(filter_pass *pass)
{
    const char *from = pass->copied;
    pass->copied = pass->at;
    return append(pass, from, static_cast<size_t>(pass->at - from));
}

// Leaves out what the input has here.
void leave_out(filter_pass *pass, size_t size)
{
    pass->at += size;
    pass->copied = pass->at;
}

// Puts a text in the place of what the input has here.
filter_result replace(filter_pass *pass, size_t size, std::string_view text)
{
    const filter_result result = copy(pass);
    leave_out(pass, size);
    return result == filter_ok ? append(pass, text.data(), text.size()) : result;
}

// A character of names cannot be written in another way.
filter_result replace_control(filter_pass *pass, size_t length, uint32_t code)
{
    const uint8_t state = pass->filter->state;
    if (state == start_tag || state == end_tag)
        return filter_forbidden;
    const bool splits = state == cdata;
    char reference[32];
    const int size = sprintf_s(reference, sizeof reference, "%s&#x%X;%s", splits ? "]]>" : "",
                               static_cast<unsigned>(code), splits ? "<![CDATA[" : "");
    return replace(pass, length, {reference, static_cast<size_t>(size)});
}

// A line end, with the line feed that may follow.
filter_result pass_return(filter_pass *pass)
{
    pass->waits = pass->at + 1 == pass->end;
    if (pass->waits)
        return filter_ok;
    return replace(pass, pass->at[1] == '\n' ? 2 : 1, "\n");
}

// In front of the next byte of the input there is one.
char last_byte(const filter_pass *pass)
{
    return pass->at > pass->copied ? pass->at[-1] : pass->out->data.get()[pass->out->size - 1];
}

// A ';', which may end a reference to a carriage return.
filter_result pass_semicolon(filter_pass *pass)
{
    const uint8_t state = pass->filter->state;
    const bool has_references = state == text || state == quoted_value;
    const char last = has_references ? last_byte(pass) : '\0';
    if (last != '3' && last != 'D' && last != 'd') {
        pass->at++;
        return filter_ok;
    }
    const filter_result result = copy(pass);
    if (result != filter_ok)
        return result;
    const size_t size = xml_return_number_size(byte_buffer_view(pass->out));
    pass->out->size -= size;
    return replace(pass, 1, size == 0 ? ";" : "xD;");
}

// Passes an odd byte; a character that the input ends in has to wait.
filter_result pass_odd(filter_pass *pass, const char *stop)
{
    if (*pass->at == '\r')
        return pass_return(pass);
    if (*pass->at == ';')
        return pass_semicolon(pass);
    const auto size = static_cast<size_t>(stop - pass->at);
    pass->waits = stop == pass->end && size < code_point_length(*pass->at);
    if (pass->waits)
        return filter_ok;
    uint32_t code;
    const size_t length = xml_control_read(pass->at, size, &code);
    if (length == 0)
        return filter_forbidden;
    return replace_control(pass, length, code);
}

// Passes the input up to stop, or to a byte of one of these classes, or to what has to wait.
filter_result pass_until(filter_pass *pass, const char *stop, uint8_t classes)
{
    filter_result result = filter_ok;
    while (result == filter_ok && !pass->waits) {
        const char *at = pass->at;
        while (at < stop && !xml_is_of(*at, classes | xml_class_odd))
            at++;
        pass->at = at;
        if (at == stop || xml_is_of(*at, classes))
            break;
        if (xml_is_of(*at, xml_class_wide))
            pass->at = xml_skip_wide(at, stop);
        if (pass->at == at)
            result = pass_odd(pass, stop);
    }
    return result;
}

// The end of the complete comment or instruction that begins at data.
size_t aside_size(const char *data, size_t size)
{
    const aside *kind = &asides[(size > 1 && data[1] == '!' ? comment : instruction) - comment];
    const size_t found = std::string_view(data, size).find(kind->closer, kind->opener.size());
    return found != std::string_view::npos ? found + kind->closer.size() : size;
}

// Takes the blanks out of the interval, which holds no text.
void squeeze_interval(const blank_filter *filter, byte_buffer *out)
{
    size_t kept = filter->interval;
    if (filter->has_asides) {
        char *bytes = out->data.get();
        for (size_t at = kept; at < out->size;) {
            if (bytes[at] != '<') {
                at++;
                continue;
            }
            const size_t size = aside_size(bytes + at, out->size - at);
            memmove(bytes + kept, bytes + at, size);
            kept += size;
            at += size;
        }
    }
    out->size = kept;
}

// The next tag is known: decides about the blanks in front of it.
filter_result end_interval(filter_pass *pass, bool before_end_tag)
{
    const blank_filter *filter = pass->filter;
    const bool leaf_value = filter->after_start && before_end_tag;
    if (filter->has_text || leaf_value || filter->interval == position(pass))
        return filter_ok;
    const filter_result result = copy(pass);
    squeeze_interval(filter, pass->out);
    return result;
}

void begin_interval(filter_pass *pass, bool after_start)
{
    blank_filter *filter = pass->filter;
    filter->state = text;
    filter->after_start = after_start;
    filter->has_text = false;
    filter->has_asides = false;
    filter->interval = position(pass);
}

filter_result pass_order_mark(filter_pass *pass)
{
    const bool has_mark = begins_with(pass, order_mark_bytes);
    if (pass->waits)
        return filter_ok;
    leave_out(pass, has_mark ? order_mark_bytes.size() : 0);
    pass->filter->state = text;
    return filter_ok;
}

filter_result open_start_tag(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    if (filter->depth == 0 && filter->has_root)
        return filter_malformed;
    const filter_result result = end_interval(pass, false);
    filter->has_root = true;
    filter->state = start_tag;
    pass->at++;
    return result;
}

filter_result open_end_tag(filter_pass *pass)
{
    if (pass->filter->depth == 0)
        return filter_malformed;
    const filter_result result = end_interval(pass, true);
    pass->filter->state = end_tag;
    pass->at += 2;
    return result;
}

filter_result open_aside(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    for (const uint8_t state : {comment, cdata, instruction}) {
        const std::string_view opener = asides[state - comment].opener;
        if (!begins_with(pass, opener))
            continue;
        if (pass->waits)
            return filter_ok;
        if (state == cdata && filter->depth == 0)
            return filter_malformed;
        filter->has_text = filter->has_text || state == cdata;
        filter->has_asides = filter->has_asides || state == comment;
        filter->aside_from = position(pass);
        filter->state = state;
        pass->at += opener.size();
        return filter_ok;
    }
    return filter_malformed;
}

// At a '<': the next byte tells what it opens.
filter_result pass_markup(filter_pass *pass)
{
    pass->waits = pass->at + 1 == pass->end;
    if (pass->waits)
        return filter_ok;
    if (pass->at[1] == '/')
        return open_end_tag(pass);
    return begins_name(pass->at[1]) ? open_start_tag(pass) : open_aside(pass);
}

filter_result pass_text(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    if (*pass->at == '<')
        return pass_markup(pass);
    filter->has_text = filter->has_text || !xml_is_blank(*pass->at);
    if (filter->has_text && filter->depth == 0)
        return filter_malformed;
    return pass_until(pass, pass->end,
                      filter->has_text ? xml_class_open : xml_class_open | xml_class_text);
}

bool is_declaration(const blank_filter *filter, const byte_buffer *out)
{
    const char *bytes = out->data.get() + filter->aside_from;
    const size_t size = out->size - filter->aside_from;
    return !filter->has_root && size > 5 && memcmp(bytes, "<?xml", 5) == 0 &&
           (xml_is_blank(bytes[5]) || bytes[5] == '?');
}

filter_result end_instruction(filter_pass *pass)
{
    const filter_result result = copy(pass);
    if (result == filter_ok && is_declaration(pass->filter, pass->out))
        pass->out->size = pass->filter->aside_from;
    else
        pass->filter->has_asides = true;
    return result;
}

// Copies up to the end. Of one that is not there yet the beginning may be.
filter_result pass_aside(filter_pass *pass)
{
    const uint8_t state = pass->filter->state;
    const std::string_view closer = asides[state - comment].closer;
    const std::string_view rest = rest_of(pass);
    const size_t found = rest.find(closer);
    const bool ends = found != std::string_view::npos;
    size_t held = ends ? 0 : closer.size() - 1;
    while (held > 0 && !rest.ends_with(closer.substr(0, held)))
        held--;
    const filter_result result =
        pass_until(pass, ends ? pass->at + found + closer.size() : pass->end - held, 0);
    pass->waits = pass->waits || held > 0;
    if (result != filter_ok || !ends)
        return result;
    pass->filter->state = text;
    return state == instruction ? end_instruction(pass) : filter_ok;
}

void close_start_tag(filter_pass *pass)
{
    const bool is_empty = last_byte(pass) == '/';
    if (!is_empty)
        pass->filter->depth++;
    pass->at++;
    begin_interval(pass, !is_empty);
}

filter_result pass_start_tag(filter_pass *pass)
{
    const filter_result result = pass_until(
        pass, pass->end, xml_class_open | xml_class_close | xml_class_quote | xml_class_apostrophe);
    if (result != filter_ok || pass->at == pass->end || pass->waits)
        return result;
    if (*pass->at == '<')
        return filter_malformed;
    if (*pass->at == '>') {
        close_start_tag(pass);
        return filter_ok;
    }
    pass->filter->quote = *pass->at++;
    pass->filter->state = quoted_value;
    return filter_ok;
}

filter_result pass_quoted_value(filter_pass *pass)
{
    const bool is_quote = pass->filter->quote == '"';
    const filter_result result =
        pass_until(pass, pass->end, is_quote ? xml_class_quote : xml_class_apostrophe);
    if (result != filter_ok || pass->at == pass->end || pass->waits)
        return result;
    pass->at++;
    pass->filter->state = start_tag;
    return filter_ok;
}

filter_result pass_end_tag(filter_pass *pass)
{
    const filter_result result = pass_until(pass, pass->end, xml_class_open | xml_class_close);
    if (result != filter_ok || pass->at == pass->end || pass->waits)
        return result;
    if (*pass->at == '<')
        return filter_malformed;
    pass->filter->depth--;
    pass->at++;
    begin_interval(pass, false);
    return filter_ok;
}

// Each takes at least one byte, or changes the state, or waits, or fails.
constexpr filter_result (*state_passes[])(filter_pass *) = {
    pass_order_mark, pass_text,      pass_aside,        pass_aside,
    pass_aside,      pass_start_tag, pass_quoted_value, pass_end_tag,
};
static_assert(sizeof state_passes / sizeof state_passes[0] == end_tag + 1);

// Passes what it can of an input; the rest has to wait. That of a CDATA section's beginning
// is the longest.
filter_result pass_input(filter_pass *pass)
{
    filter_result result = filter_ok;
    while (result == filter_ok && pass->at < pass->end && !pass->waits)
        result = state_passes[pass->filter->state](pass);
    const filter_result copied = copy(pass);
    if (copied != filter_ok || result != filter_ok)
        return copied != filter_ok ? copied : result;
    blank_filter *filter = pass->filter;
    filter->waiting_size = static_cast<uint8_t>(pass->end - pass->at);
    memmove(filter->waiting, pass->at, filter->waiting_size);
    return filter_ok;
}

} // namespace

filter_result blank_filter_feed(blank_filter *filter, const char *data, size_t size,
                                byte_buffer *out, size_t limit)
{
    const char *end = data + size;
    filter_result result = filter_ok;
    while (result == filter_ok && filter->waiting_size > 0 && data < end) {
        filter->waiting[filter->waiting_size++] = *data++;
        const char *waiting = filter->waiting;
        filter_pass pass{filter, waiting, waiting + filter->waiting_size, waiting, out,
                         limit,  false};
        result = pass_input(&pass);
    }
    if (result != filter_ok || data == end)
        return result;
    filter_pass pass{filter, data, end, data, out, limit, false};
    return pass_input(&pass);
}

filter_result blank_filter_end(blank_filter *filter, byte_buffer *out)
{
    const bool complete = filter->state == text && filter->has_root && filter->depth == 0 &&
                          is_all_blank(filter->waiting, filter->waiting_size);
    if (complete && !filter->has_text)
        squeeze_interval(filter, out);
    *filter = {};
    return complete ? filter_ok : filter_malformed;
}

bool blank_filter_idle(const blank_filter *filter)
{
    return filter->state == order_mark ||
           (filter->state == text && !filter->has_root && !filter->has_asides &&
            is_all_blank(filter->waiting, filter->waiting_size));
}
