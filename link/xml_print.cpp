// The printer cuts the raw text at every ">" and looks at nothing but the
// second character of a tag, which is fast and never fails, whatever the
// daemon sent. Self-closing tags, declarations and comments therefore count as
// opening ones and the layout of many of them in a row grows far beyond the
// text. So nothing is laid out in memory: each piece is written as it is found.
#include "link/xml_print.h"

#include <stdio.h>
#include <string.h>

#include "base/escape.h"

namespace
{

// To be called with the stream locked.
void write_text(const char *text, size_t length)
{
    fwrite_unlocked(text, 1, length, stdout);
}

void write_blanks(long count)
{
    static const char blanks[] = "                                                                ";
    constexpr long width = sizeof blanks - 1;
    for (; count > width; count -= width)
        write_text(blanks, width);
    if (count > 0)
        write_text(blanks, static_cast<size_t>(count));
}

// Writes the text from `from` up to `to` with its entities decoded. A line end
// follows every piece, so no entity is divided between two of them.
void write_decoded(const char *from, const char *to)
{
    while (from < to) {
        const size_t left = static_cast<size_t>(to - from);
        const char *entity = static_cast<const char *>(memchr(from, '&', left));
        const char *plain_end = entity != nullptr ? entity : to;
        write_text(from, static_cast<size_t>(plain_end - from));
        if (entity == nullptr)
            return;
        char character = '&';
        from = entity + unescape_one(entity, static_cast<size_t>(to - entity), &character);
        write_text(&character, 1);
    }
}

void write_line(long indentation, const char *from, const char *to)
{
    write_blanks(indentation);
    write_decoded(from, to);
    write_text("\n", 1);
}

void write_layout(const char *message)
{
    const char *previous_tag = message;
    const char *at = message;
    long indentation = 0;
    for (const char *end = strchr(at, '>'); end != nullptr; end = strchr(at, '>')) {
        write_line(indentation, at, end + 1);
        at = end + 1;
        while (*at == ' ')
            at++;
        const char *tag = strchr(at, '<');
        if (tag == nullptr)
            return;
        if (tag != at)
            write_line(indentation + 2, at, tag);
        at = tag;
        indentation = indent_next(previous_tag, at, indentation);
        previous_tag = at;
    }
}

} // namespace

long indent_next(const char *previous, const char *next, long indentation)
{
    const bool previous_closes = previous[0] != '\0' && previous[1] == '/';
    const bool next_closes = next[0] != '\0' && next[1] == '/';
    if (previous_closes == next_closes)
        return previous_closes ? indentation - 2 : indentation + 2;
    return indentation;
}

void xml_print(const char *message)
{
    if (message == nullptr || *message == '\0')
        return;
    flockfile(stdout);
    write_layout(message);
    funlockfile(stdout);
    fflush(stdout);
}
