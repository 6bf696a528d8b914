#include "base/escape.h"

#include <string_view>

#include "base/log.h"
#include "bounded.h"

namespace
{

struct entity {
    char character;
    std::string_view text;
};

constexpr entity entities[] = {
    {'&', "&amp;"}, {'<', "&lt;"},   {'>', "&gt;"},   {'"', "&quot;"},
    {'\t', "&#9;"}, {'\r', "&#13;"}, {'\n', "&#10;"},
};

// What a byte is written as; empty for a byte that is copied.
std::string_view entity_of(char character)
{
    if (static_cast<unsigned char>(character) > '>') // beyond all of them, as letters are
        return {};
    for (const entity &candidate : entities) {
        if (candidate.character == character)
            return candidate.text;
    }
    return {};
}

char *escape_into(char *out, const char *source, size_t length)
{
    for (size_t i = 0; i < length; i++) {
        const std::string_view text = entity_of(source[i]);
        if (text.empty()) {
            *out++ = source[i];
        } else {
            memcpy_s(out, text.size(), text.data(), text.size());
            out += text.size();
        }
    }
    return out;
}

char *unescape_into(char *out, const char *source, size_t length)
{
    for (size_t i = 0; i < length;)
        i += unescape_one(source + i, length - i, out++);
    return out;
}

} // namespace

size_t unescape_one(const char *at, size_t left, char *character)
{
    *character = *at;
    if (*at != '&')
        return 1;
    for (const entity &candidate : entities) {
        if (text_starts_with({at, left}, candidate.text)) {
            *character = candidate.character;
            return candidate.text.size();
        }
    }
    return 1;
}

void escape_text(char *destination, const char *source, long length, int mode)
{
    if (destination == nullptr || source == nullptr || length < 0) {
        log_error("[ERROR] handle special key error....\n");
        return;
    }
    const size_t size = static_cast<size_t>(length);
    char *end = mode == escape_mode_escape ? escape_into(destination, source, size)
                                           : unescape_into(destination, source, size);
    *end = '\0';
}

int text_append_escaped(text_buffer *out, std::string_view text)
{
    while (!text.empty()) {
        size_t run = 0;
        while (run < text.size() && entity_of(text[run]).empty())
            run++;
        const std::string_view entity = run < text.size() ? entity_of(text[run]) : "";
        if (text_append_all(out, {text_slice(text, 0, run), entity}) != 0)
            return -1;
        text.remove_prefix(run + !entity.empty());
    }
    return 0;
}
