// The output buffer doubles as the place where undecided blanks wait: they are
// appended like everything else, and when the next tag shows that they stand
// between elements the output is cut back to where the interval began. Only an
// interval with comments or processing instructions in it is gone over again,
// once, to keep those; so the whole stays linear, and no byte is moved twice.
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
    markup,       // after '<'
    markup_bang,  // after "<!"
    comment_open, // after "<!-"
    cdata_open,   // within "<![CDATA["
    comment,      // after "<!--"
    cdata,        // after "<![CDATA["
    instruction,  // after "<?"
    start_tag,    // after '<' and the first byte of a name
    quoted_value, // in a start tag
    end_tag,      // after "</"
};

// One call's input, and where its result goes.
struct filter_pass {
    blank_filter *filter;
    const char *at;
    const char *end;
    byte_buffer *out;
    size_t limit;
};

constexpr char cdata_opener[] = "[CDATA[";
constexpr unsigned char order_mark_bytes[] = {0xEF, 0xBB, 0xBF};

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

filter_result emit(filter_pass *pass, const char *data, size_t size)
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

// A character of names cannot be written in another way.
filter_result emit_control(filter_pass *pass, uint32_t code)
{
    const uint8_t state = pass->filter->state;
    if (state == start_tag || state == end_tag)
        return filter_forbidden;
    const bool splits = state == cdata;
    char reference[32];
    const int size = sprintf_s(reference, sizeof reference, "%s&#x%X;%s", splits ? "]]>" : "",
                               static_cast<unsigned>(code), splits ? "<![CDATA[" : "");
    return emit(pass, reference, static_cast<size_t>(size));
}

// A line end, with the line feed that may follow.
filter_result pass_return(filter_pass *pass)
{
    pass->at++;
    if (pass->at == pass->end)
        pass->filter->after_return = true;
    else if (*pass->at == '\n')
        pass->at++;
    return emit(pass, "\n", 1);
}

// A ';', which may end a reference to a carriage return.
filter_result pass_semicolon(filter_pass *pass)
{
    const uint8_t state = pass->filter->state;
    pass->at++;
    const bool has_references = state == text || state == quoted_value;
    const size_t size = has_references ? xml_return_number_size(byte_buffer_view(pass->out)) : 0;
    pass->out->size -= size;
    return size == 0 ? emit(pass, ";", 1) : emit(pass, "xD;", 3);
}

// Passes what xml_find_odd found; a character that the input ends in has to wait.
filter_result pass_odd(filter_pass *pass, const char *stop)
{
    if (*pass->at == '\r')
        return pass_return(pass);
    if (*pass->at == ';')
        return pass_semicolon(pass);
    blank_filter *filter = pass->filter;
    const auto size = static_cast<size_t>(stop - pass->at);
    if (stop == pass->end && xml_begins_character(pass->at, size)) {
        memcpy_s(filter->partial, sizeof filter->partial, pass->at, size);
        filter->partial_size = static_cast<uint8_t>(size);
        pass->at = stop;
        return filter_ok;
    }
    uint32_t code;
    const size_t length = xml_control_read(pass->at, size, &code);
    if (length == 0)
        return filter_forbidden;
    pass->at += length;
    return emit_control(pass, code);
}

// Copies the input up to stop, whose characters are known to pass.
filter_result keep_plain(filter_pass *pass, const char *stop)
{
    const char *from = pass->at;
    pass->at = stop;
    return emit(pass, from, static_cast<size_t>(stop - from));
}

// Copies the input up to stop, as far as its characters pass.
filter_result keep(filter_pass *pass, const char *stop)
{
    filter_result result = filter_ok;
    while (result == filter_ok && pass->at < stop) {
        result = keep_plain(pass, xml_find_odd(pass->at, stop));
        if (result == filter_ok && pass->at < stop)
            result = pass_odd(pass, stop);
    }
    return result;
}

// Goes on with the character that the last input ended in.
filter_result keep_partial(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    const size_t length = code_point_length(filter->partial[0]);
    while (filter->partial_size < length) {
        if (pass->at == pass->end)
            return filter_ok;
        filter->partial[filter->partial_size++] = *pass->at++;
        if (filter->partial_size < length &&
            !xml_begins_character(filter->partial, filter->partial_size))
            return filter_forbidden;
    }
    filter->partial_size = 0;
    filter_pass character{filter, filter->partial, filter->partial + length, pass->out,
                          pass->limit};
    return keep(&character, character.end);
}

// The first byte at or after from, or the end of the input.
const char *find_byte(const filter_pass *pass, const char *from, char byte)
{
    const void *found = memchr(from, byte, static_cast<size_t>(pass->end - from));
    return found != nullptr ? static_cast<const char *>(found) : pass->end;
}

// The end of the complete comment or instruction that begins at data.
size_t aside_size(const char *data, size_t size)
{
    const bool is_comment = size > 1 && data[1] == '!';
    const size_t opener = is_comment ? 4 : 2;
    const char *closer = is_comment ? "-->" : "?>";
    if (size < opener)
        return size;
    const void *found = memmem(data + opener, size - opener, closer, strlen(closer));
    if (found == nullptr)
        return size;
    return static_cast<size_t>(static_cast<const char *>(found) - data) + strlen(closer);
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
void end_interval(const blank_filter *filter, byte_buffer *out, bool before_end_tag)
{
    const bool leaf_value = filter->after_start && before_end_tag;
    if (!filter->has_text && !leaf_value)
        squeeze_interval(filter, out);
}

void begin_interval(blank_filter *filter, const byte_buffer *out, bool after_start)
{
    filter->state = text;
    filter->after_start = after_start;
    filter->has_text = false;
    filter->has_asides = false;
    filter->interval = out->size;
}

filter_result pass_order_mark(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    if (static_cast<unsigned char>(*pass->at) != order_mark_bytes[filter->matched]) {
        filter->state = text;
        return filter->matched == 0 ? filter_ok : filter_malformed;
    }
    pass->at++;
    if (++filter->matched == sizeof order_mark_bytes)
        filter->state = text;
    return filter_ok;
}

filter_result pass_text(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    const char *stop = find_byte(pass, pass->at, '<');
    const bool blank = is_all_blank(pass->at, static_cast<size_t>(stop - pass->at));
    if (!blank && filter->depth == 0)
        return filter_malformed;
    if (!blank)
        filter->has_text = true;
    const filter_result result = keep(pass, stop);
    if (pass->at < pass->end) {
        pass->at++;
        filter->state = markup;
    }
    return result;
}

filter_result open_start_tag(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    if (filter->depth == 0 && filter->has_root)
        return filter_malformed;
    end_interval(filter, pass->out, false);
    filter->has_root = true;
    filter->state = start_tag;
    return emit(pass, "<", 1);
}

filter_result open_end_tag(filter_pass *pass)
{
    if (pass->filter->depth == 0)
        return filter_malformed;
    end_interval(pass->filter, pass->out, true);
    pass->at++;
    pass->filter->state = end_tag;
    return emit(pass, "</", 2);
}

filter_result open_aside(filter_pass *pass, const char *opener, filter_state next)
{
    pass->filter->aside_from = pass->out->size;
    pass->filter->matched = 0;
    pass->filter->state = next;
    pass->at++;
    return emit(pass, opener, 2);
}

// After '<': the next byte tells what it opens.
filter_result pass_markup(filter_pass *pass)
{
    switch (*pass->at) {
    case '/':
        return open_end_tag(pass);
    case '?':
        return open_aside(pass, "<?", instruction);
    case '!':
        return open_aside(pass, "<!", markup_bang);
    default:
        return begins_name(*pass->at) ? open_start_tag(pass) : filter_malformed;
    }
}

filter_result pass_markup_bang(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    if (*pass->at == '-') {
        filter->state = comment_open;
        return keep(pass, pass->at + 1);
    }
    filter->state = cdata_open;
    return filter->depth == 0 ? filter_malformed : filter_ok;
}

filter_result pass_comment_open(filter_pass *pass)
{
    if (*pass->at != '-')
        return filter_malformed;
    pass->filter->state = comment;
    return keep(pass, pass->at + 1);
}

filter_result pass_cdata_open(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    if (*pass->at != cdata_opener[filter->matched])
        return filter_malformed;
    if (++filter->matched == sizeof cdata_opener - 1) {
        filter->matched = 0;
        filter->has_text = true;
        filter->state = cdata;
    }
    return keep(pass, pass->at + 1);
}

// Copies up to the '>' that follows count closing bytes; *ended tells whether
// it was found.
filter_result pass_until_closed(filter_pass *pass, char closing, uint8_t count, bool *ended)
{
    blank_filter *filter = pass->filter;
    const char *at = pass->at;
    *ended = false;
    for (; at < pass->end && !*ended; at++) {
        const bool closes = *at == closing;
        *ended = *at == '>' && filter->matched == count;
        if (!closes)
            filter->matched = 0;
        else if (filter->matched < count)
            filter->matched++;
    }
    const filter_result result = keep(pass, at);
    if (*ended)
        filter->state = text;
    return result;
}

bool is_declaration(const blank_filter *filter, const byte_buffer *out)
{
    const char *bytes = out->data.get() + filter->aside_from;
    const size_t size = out->size - filter->aside_from;
    return !filter->has_root && size > 5 && memcmp(bytes, "<?xml", 5) == 0 &&
           (xml_is_blank(bytes[5]) || bytes[5] == '?');
}

filter_result pass_comment(filter_pass *pass)
{
    bool ended;
    const filter_result result = pass_until_closed(pass, '-', 2, &ended);
    pass->filter->has_asides = true;
    return result;
}

filter_result pass_cdata(filter_pass *pass)
{
    bool ended;
    return pass_until_closed(pass, ']', 2, &ended);
}

filter_result pass_instruction(filter_pass *pass)
{
    bool ended;
    const filter_result result = pass_until_closed(pass, '?', 1, &ended);
    if (result != filter_ok || !ended)
        return result;
    if (is_declaration(pass->filter, pass->out))
        pass->out->size = pass->filter->aside_from;
    else
        pass->filter->has_asides = true;
    return filter_ok;
}

filter_result close_start_tag(filter_pass *pass)
{
    const filter_result result = keep_plain(pass, pass->at + 1);
    if (result != filter_ok)
        return result;
    const bool is_empty = pass->out->data.get()[pass->out->size - 2] == '/';
    if (!is_empty)
        pass->filter->depth++;
    begin_interval(pass->filter, pass->out, !is_empty);
    return filter_ok;
}

filter_result pass_start_tag(filter_pass *pass)
{
    const char *at = pass->at;
    while (at < pass->end && *at != '>' && *at != '"' && *at != '\'' && *at != '<')
        at++;
    const filter_result result = keep(pass, at);
    if (result != filter_ok || at == pass->end)
        return result;
    if (*at == '<')
        return filter_malformed;
    if (*at == '>')
        return close_start_tag(pass);
    pass->filter->quote = *at;
    pass->filter->state = quoted_value;
    return keep_plain(pass, at + 1);
}

filter_result pass_quoted_value(filter_pass *pass)
{
    const char *stop = find_byte(pass, pass->at, pass->filter->quote);
    const bool ends = stop < pass->end;
    const filter_result result = keep(pass, ends ? stop + 1 : stop);
    if (ends)
        pass->filter->state = start_tag;
    return result;
}

filter_result pass_end_tag(filter_pass *pass)
{
    const char *stop = find_byte(pass, pass->at, '>');
    const void *open = memchr(pass->at, '<', static_cast<size_t>(stop - pass->at));
    if (open != nullptr)
        stop = static_cast<const char *>(open);
    const bool closes = stop < pass->end && *stop == '>';
    const filter_result result = keep(pass, closes ? stop + 1 : stop);
    if (result != filter_ok || stop == pass->end)
        return result;
    if (!closes)
        return filter_malformed;
    pass->filter->depth--;
    begin_interval(pass->filter, pass->out, false);
    return result;
}

// Each takes at least one byte, or changes the state, or fails.
constexpr filter_result (*state_passes[])(filter_pass *) = {
    pass_order_mark,   pass_text,       pass_markup,       pass_markup_bang,
    pass_comment_open, pass_cdata_open, pass_comment,      pass_cdata,
    pass_instruction,  pass_start_tag,  pass_quoted_value, pass_end_tag,
};
static_assert(sizeof state_passes / sizeof state_passes[0] == end_tag + 1);

} // namespace

filter_result blank_filter_feed(blank_filter *filter, const char *data, size_t size,
                                byte_buffer *out, size_t limit)
{
    filter_pass pass{filter, data, data + size, out, limit};
    if (filter->partial_size > 0) {
        const filter_result result = keep_partial(&pass);
        if (result != filter_ok)
            return result;
    }
    if (filter->after_return && size > 0) {
        filter->after_return = false;
        pass.at += *data == '\n' ? 1 : 0;
    }
    while (pass.at < pass.end) {
        const filter_result result = state_passes[filter->state](&pass);
        if (result != filter_ok)
            return result;
    }
    return filter_ok;
}

filter_result blank_filter_end(blank_filter *filter, byte_buffer *out)
{
    const bool complete = filter->state == text && filter->has_root && filter->depth == 0;
    if (complete)
        end_interval(filter, out, false);
    *filter = {};
    return complete ? filter_ok : filter_malformed;
}

bool blank_filter_idle(const blank_filter *filter)
{
    return filter->state <= text && !filter->has_root && !filter->has_asides;
}
