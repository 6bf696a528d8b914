#include "schema/masking.h"

#include <string.h>

#include "base/args.h"

namespace
{

constexpr char slash_code = 1;
constexpr char colon_code = 2;
constexpr char blank_code = 3;
constexpr char cutting_characters[] = "=,[] ";

// The nearest quoted section of text: its quotes, or nulls when none is closed.
struct quoted_section {
    char *open;
    char *close;
};

quoted_section next_quoted(char *text)
{
    char *open = strpbrk(text, "\"'");
    char *close = open != nullptr ? strchr(open + 1, *open) : nullptr;
    return close != nullptr ? quoted_section{open, close} : quoted_section{nullptr, nullptr};
}

void mask_value(char *from, const char *to)
{
    for (; from < to; from++) {
        if (*from == '/')
            *from = slash_code;
        else if (*from == ':')
            *from = colon_code;
    }
}

// Nothing of the longer text stays after the shorter one.
void strip_quotes(char *text)
{
    const size_t length = strlen(text);
    char *out = text; // never ahead of the text that is read
    char *rest = text;
    for (quoted_section section = next_quoted(rest); section.close != nullptr;
         section = next_quoted(rest)) {
        const size_t before = static_cast<size_t>(section.open - rest);
        memmove(out, rest, before);
        out += before;
        *section.close = '\0';
        const bool cuts = strpbrk(section.open + 1, cutting_characters) != nullptr;
        *section.close = *section.open;
        const char *from = cuts ? section.open + 1 : section.open;
        const char *to = cuts ? section.close : section.close + 1;
        memmove(out, from, static_cast<size_t>(to - from));
        out += to - from;
        rest = section.close + 1;
    }
    const size_t left = strlen(rest);
    memmove(out, rest, left + 1);
    block_wipe(out + left, static_cast<size_t>(text + length - (out + left)));
}

} // namespace

void mask_keys(char *path)
{
    for (char *at = strchr(path, '['); at != nullptr; at = strchr(at, '[')) {
        while (*at != ']' && *at != '\0') {
            at += strcspn(at, "=]");
            if (*at != '=')
                break;
            at++;
            char *end = at + strcspn(at, ",]");
            if (*end != '\0')
                mask_value(at, end);
            at = end;
        }
        if (*at == '\0')
            return;
    }
}

void mask_path(char *path)
{
    args_protect(path);
    mask_keys(path);
}

void unmask_keys(char *text)
{
    for (; *text != '\0'; text++) {
        if (*text == slash_code)
            *text = '/';
        else if (*text == colon_code)
            *text = ':';
    }
}

void unmask_all(char *text)
{
    args_restore(text);
    unmask_keys(text);
}

heap_text masked_copy(const char *path)
{
    heap_text copy = path != nullptr ? text_copy(path) : nullptr;
    if (copy)
        mask_path(copy.get());
    return copy;
}

heap_text unmasked_copy(const char *text)
{
    heap_text copy = text != nullptr ? text_copy(text) : nullptr;
    if (copy)
        unmask_all(copy.get());
    return copy;
}

shown_text::shown_text(const char *masked) : text(unmasked_copy(masked)) {}

heap_text quote_value(const char *value)
{
    const char *quote = "";
    if (strpbrk(value, cutting_characters) != nullptr)
        quote = strchr(value, '"') != nullptr ? "'" : "\"";
    heap_text quoted = text_concat({quote, value, quote});
    if (quoted) {
        // As a span: a value may hold both kinds of quotes.
        char *end = quoted.get() + strlen(quoted.get());
        args_protect_span(quoted.get(), end);
        mask_value(quoted.get(), end);
    }
    return quoted;
}

void mask_quoted_blanks(char *line)
{
    for (quoted_section section = next_quoted(line); section.close != nullptr;
         section = next_quoted(section.close + 1)) {
        for (char *at = section.open; at < section.close; at++) {
            if (*at == ' ')
                *at = blank_code;
        }
    }
}

void make_plain(char *masked)
{
    unmask_all(masked);
    strip_quotes(masked);
}
