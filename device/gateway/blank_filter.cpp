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
    bool waits;        // for what follows the input
    const char *fault; // null, or what ends the pass
};

constexpr char not_xml[] = "the server sent something that is not XML";
constexpr char forbidden[] = "the server sent a character that XML forbids";

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

void append(filter_pass *pass, std::string_view text)
{
    const buffer_result appended =
        byte_buffer_append(pass->out, text.data(), text.size(), pass->limit);
    if (appended != buffer_ok)
        pass->fault = appended == buffer_full ? "a message of the server is too long"
                                              : "out of memory for a message of the server";
}

// Copies the input up to here.
void copy(filter_pass *pass)
{
    append(pass, {pass->copied, static_cast<size_t>(pass->at - pass->copied)});
    pass->copied = pass->at;
}

// Puts a text in the place of what the input has here.
void replace(filter_pass *pass, size_t size, std::string_view text)
{
    copy(pass);
    pass->at += size;
    pass->copied = pass->at;
    append(pass, text);
}

// A character of names cannot be written in another way.
void replace_control(filter_pass *pass, size_t length, uint32_t code)
{
    const uint8_t state = pass->filter->state;
    if (state == start_tag || state == end_tag) {
        pass->fault = forbidden;
        return;
    }
    const bool splits = state == cdata;
    char reference[32];
    const int size = sprintf_s(reference, sizeof reference, "%s&#x%X;%s", splits ? "]]>" : "",
                               static_cast<unsigned>(code), splits ? "<![CDATA[" : "");
    replace(pass, length, {reference, static_cast<size_t>(size)});
}

// A line end, with the line feed that may follow.
void pass_return(filter_pass *pass)
{
    pass->waits = pass->at + 1 == pass->end;
    if (!pass->waits)
        replace(pass, pass->at[1] == '\n' ? 2 : 1, "\n");
}

// In front of the next byte of the input there is one.
char last_byte(const filter_pass *pass)
{
    return pass->at > pass->copied ? pass->at[-1] : pass->out->data.get()[pass->out->size - 1];
}

// A ';', which may end a reference to a carriage return.
void pass_semicolon(filter_pass *pass)
{
    const uint8_t state = pass->filter->state;
    const bool has_references = state == text || state == quoted_value;
    const char last = has_references ? last_byte(pass) : '\0';
    if (last != '3' && last != 'D' && last != 'd') {
        pass->at++;
        return;
    }
    copy(pass);
    const size_t size = xml_return_number_size(byte_buffer_view(pass->out));
    pass->out->size -= size;
    replace(pass, 1, size == 0 ? ";" : "xD;");
}

// Whether the input ends in a character that is right so far.
bool ends_in_character(const filter_pass *pass)
{
    const std::string_view rest = rest_of(pass);
    const size_t length = code_point_length(rest[0]);
    size_t size = 1;
    while (size < length && size < rest.size() && code_point_continues(rest[size]))
        size++;
    return size < length && size == rest.size();
}

// Passes an odd byte; a character that the input ends in has to wait.
void pass_odd(filter_pass *pass)
{
    if (*pass->at == '\r') {
        pass_return(pass);
        return;
    }
    if (*pass->at == ';') {
        pass_semicolon(pass);
        return;
    }
    pass->waits = ends_in_character(pass);
    if (pass->waits)
        return;
    uint32_t code;
    const size_t length = xml_control_read(pass->at, rest_of(pass).size(), &code);
    if (length == 0)
        pass->fault = forbidden;
    else
        replace_control(pass, length, code);
}

bool goes_on(const filter_pass *pass)
{
    return pass->fault == nullptr && !pass->waits;
}

// Passes the input up to stop, or to a byte of one of these classes: true, if there is one.
bool pass_until(filter_pass *pass, const char *stop, uint8_t classes)
{
    while (goes_on(pass)) {
        const char *at = pass->at;
        while (at < stop && !xml_is_of(*at, classes | xml_class_odd))
            at++;
        pass->at = at;
        if (at == stop || xml_is_of(*at, classes))
            return at < stop;
        if (xml_is_of(*at, xml_class_wide))
            pass->at = xml_skip_wide(at, stop);
        if (pass->at == at)
            pass_odd(pass);
    }
    return false;
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

// A tag of that kind begins: decides about the blanks in front of it.
void begin_tag(filter_pass *pass, filter_state kind)
{
    blank_filter *filter = pass->filter;
    const bool leaf_value = filter->after_start && kind == end_tag;
    if (!filter->has_text && !leaf_value && filter->interval < position(pass)) {
        copy(pass);
        if (pass->fault == nullptr)
            squeeze_interval(filter, pass->out);
    }
    filter->state = kind;
    pass->at += kind == end_tag ? 2 : 1;
}

// At the '>' of a tag, where what stands between it and the next one begins.
void begin_interval(filter_pass *pass, bool after_start)
{
    blank_filter *filter = pass->filter;
    pass->at++;
    filter->state = text;
    filter->after_start = after_start;
    filter->has_text = false;
    filter->has_asides = false;
    filter->interval = position(pass);
}

void pass_order_mark(filter_pass *pass)
{
    const bool has_mark = begins_with(pass, order_mark_bytes);
    if (pass->waits)
        return;
    replace(pass, has_mark ? order_mark_bytes.size() : 0, {});
    pass->filter->state = text;
}

void open_aside(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    for (const uint8_t state : {comment, cdata, instruction}) {
        const std::string_view opener = asides[state - comment].opener;
        if (!begins_with(pass, opener))
            continue;
        if (pass->waits)
            return;
        if (state == cdata && filter->depth == 0)
            break;
        filter->has_text = filter->has_text || state == cdata;
        filter->has_asides = filter->has_asides || state == comment;
        filter->aside_from = position(pass);
        filter->state = state;
        pass->at += opener.size();
        return;
    }
    pass->fault = not_xml;
}

// At a '<': the next byte tells what it opens.
void pass_markup(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    pass->waits = pass->at + 1 == pass->end;
    if (pass->waits)
        return;
    const bool is_end = pass->at[1] == '/';
    if (!is_end && !begins_name(pass->at[1])) {
        open_aside(pass);
    } else if (filter->depth == 0 && (is_end || filter->has_root)) {
        pass->fault = not_xml;
    } else {
        begin_tag(pass, is_end ? end_tag : start_tag);
        filter->has_root = true;
    }
}

void pass_text(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    if (*pass->at == '<') {
        pass_markup(pass);
        return;
    }
    filter->has_text = filter->has_text || !xml_is_blank(*pass->at);
    if (filter->has_text && filter->depth == 0)
        pass->fault = not_xml;
    pass_until(pass, pass->end,
               filter->has_text ? xml_class_open : xml_class_open | xml_class_text);
}

bool is_declaration(const blank_filter *filter, const byte_buffer *out)
{
    const char *bytes = out->data.get() + filter->aside_from;
    const size_t size = out->size - filter->aside_from;
    return !filter->has_root && size > 5 && memcmp(bytes, "<?xml", 5) == 0 &&
           (xml_is_blank(bytes[5]) || bytes[5] == '?');
}

void end_instruction(filter_pass *pass)
{
    copy(pass);
    if (pass->fault == nullptr && is_declaration(pass->filter, pass->out))
        pass->out->size = pass->filter->aside_from;
    else
        pass->filter->has_asides = true;
}

// Copies up to the end. Of one that is not there yet the beginning may be.
void pass_aside(filter_pass *pass)
{
    const uint8_t state = pass->filter->state;
    const std::string_view closer = asides[state - comment].closer;
    const std::string_view rest = rest_of(pass);
    const size_t found = rest.find(closer);
    const bool ends = found != std::string_view::npos;
    size_t held = ends ? 0 : closer.size() - 1;
    while (held > 0 && !rest.ends_with(closer.substr(0, held)))
        held--;
    pass_until(pass, ends ? pass->at + found + closer.size() : pass->end - held, 0);
    pass->waits = pass->waits || held > 0;
    if (pass->fault != nullptr || !ends)
        return;
    pass->filter->state = text;
    if (state == instruction)
        end_instruction(pass);
}

void pass_start_tag(filter_pass *pass)
{
    blank_filter *filter = pass->filter;
    if (!pass_until(pass, pass->end,
                    xml_class_open | xml_class_close | xml_class_quote | xml_class_apostrophe))
        return;
    if (*pass->at == '<') {
        pass->fault = not_xml;
    } else if (*pass->at == '>') {
        const bool is_empty = last_byte(pass) == '/';
        filter->depth += is_empty ? 0 : 1;
        begin_interval(pass, !is_empty);
    } else {
        filter->quote = *pass->at++;
        filter->state = quoted_value;
    }
}

void pass_quoted_value(filter_pass *pass)
{
    const bool is_quote = pass->filter->quote == '"';
    if (!pass_until(pass, pass->end, is_quote ? xml_class_quote : xml_class_apostrophe))
        return;
    pass->at++;
    pass->filter->state = start_tag;
}

void pass_end_tag(filter_pass *pass)
{
    if (!pass_until(pass, pass->end, xml_class_open | xml_class_close))
        return;
    if (*pass->at == '<') {
        pass->fault = not_xml;
        return;
    }
    pass->filter->depth--;
    begin_interval(pass, false);
}

// Each takes at least one byte, or changes the state, or waits, or fails.
constexpr void (*state_passes[])(filter_pass *) = {
    pass_order_mark, pass_text,      pass_aside,        pass_aside,
    pass_aside,      pass_start_tag, pass_quoted_value, pass_end_tag,
};
static_assert(sizeof state_passes / sizeof state_passes[0] == end_tag + 1);

// Passes what it can of an input; the rest has to wait. That of a CDATA section's beginning
// is the longest.
const char *pass_input(blank_filter *filter, std::string_view input, byte_buffer *out, size_t limit)
{
    const char *from = input.data();
    filter_pass pass{filter, from, from + input.size(), from, out, limit, false, nullptr};
    while (goes_on(&pass) && pass.at < pass.end)
        state_passes[filter->state](&pass);
    copy(&pass);
    if (pass.fault == nullptr) {
        filter->waiting_size = static_cast<uint8_t>(pass.end - pass.at);
        memmove(filter->waiting, pass.at, filter->waiting_size);
    }
    return pass.fault;
}

} // namespace

const char *blank_filter_feed(blank_filter *filter, const char *data, size_t size, byte_buffer *out,
                              size_t limit)
{
    const char *end = data + size;
    const char *fault = nullptr;
    while (fault == nullptr && filter->waiting_size > 0 && data < end) {
        filter->waiting[filter->waiting_size++] = *data++;
        fault = pass_input(filter, {filter->waiting, filter->waiting_size}, out, limit);
    }
    if (fault != nullptr || data == end)
        return fault;
    return pass_input(filter, {data, static_cast<size_t>(end - data)}, out, limit);
}

int blank_filter_end(blank_filter *filter, byte_buffer *out)
{
    const bool complete = filter->state == text && filter->has_root && filter->depth == 0 &&
                          is_all_blank(filter->waiting, filter->waiting_size);
    if (complete && !filter->has_text)
        squeeze_interval(filter, out);
    *filter = {};
    return complete ? 0 : -1;
}

bool blank_filter_idle(const blank_filter *filter)
{
    return filter->state == order_mark ||
           (filter->state == text && !filter->has_root && !filter->has_asides &&
            is_all_blank(filter->waiting, filter->waiting_size));
}
