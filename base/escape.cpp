#include "base/escape.h"

#include <string.h>
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

heap_text escape_copy(const char *text)
{
    size_t size = 1;
    for (const char *at = text; *at != '\0'; at++) {
        const size_t written = entity_of(*at).size();
        if (!size_add(size, written == 0 ? 1 : written, &size))
            return nullptr;
    }
    heap_text escaped(static_cast<char *>(malloc(size)));
    if (escaped)
        *escape_into(escaped.get(), text, strlen(text)) = '\0';
    return escaped;
}
