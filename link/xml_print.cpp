// The printer cuts the raw text at every ">" and looks at nothing but the
// second character of a tag, which is fast and never fails, whatever the
// daemon sent. Self-closing tags, declarations and comments therefore count as
// opening ones and the layout of many of them in a row grows far beyond the
// text. So the layout never stands in memory as a whole: it passes through a
// page. Where the last brackets of the text stand is known from the start, so
// that one pass finds the end of a piece and copies it.
#include "link/xml_print.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "base/escape.h"
#include "base/text.h"
#include "link/byte_words.h"

namespace
{

constexpr size_t page_size = 16384;
constexpr size_t blanks_at_once = 64;

// The layout on its way to the stream. What is put there as a whole, blanks or a
// word, may reach beyond page_size, and so may a few characters after them. On the stack,
// because two threads print; wiped, because what passed may be a secret.
struct page {
    char bytes[page_size + 2 * blanks_at_once];
    char *next = bytes;

    ~page()
    {
        block_wipe(bytes, sizeof bytes);
    }
};

// To be called with the stream locked.
void page_flush(page *page)
{
    fwrite_unlocked(page->bytes, 1, static_cast<size_t>(page->next - page->bytes), stdout);
    page->next = page->bytes;
}

void page_make_room(page *page)
{
    if (page->next >= page->bytes + page_size)
        page_flush(page);
}

void put_blanks(page *page, long count)
{
    constexpr long at_once = blanks_at_once;
    for (; count > 0; count -= at_once) {
        page_make_room(page);
        memset(page->next, ' ', blanks_at_once);
        page->next += count < at_once ? count : at_once;
    }
}

// Copies words of the text while the page and the text have room for one, up to the
// first byte that is `mark` or "&"; returns where that is, or where the room ends.
template <char mark>
const char *put_words(page *page, const char *at, const char *end)
{
    const char *const last = page->bytes + page_size;
    char *next = page->next;
    for (; end - at >= static_cast<ptrdiff_t>(word_size) && next < last; at += word_size) {
        memcpy(next, at, word_size);
        const uint64_t word = word_at(at);
        const uint64_t found = (word_find(word, mark) | word_find(word, '&')) & every_top_bit;
        if (found != 0) {
            page->next = next + word_first(found);
            return at + word_first(found);
        }
        next += word_size;
    }
    page->next = next;
    return at;
}

// Copies what stands before the next `mark`, with its entities decoded; returns where
// that is. There is one before `end`. No entity holds a mark.
template <char mark>
const char *put_decoded(page *page, const char *at, const char *end)
{
    for (;;) {
        page_make_room(page);
        at = put_words<mark>(page, at, end);
        if (*at == mark)
            return at;
        at += unescape_one(at, static_cast<size_t>(end - at), page->next);
        page->next++;
    }
}

void put_layout(page *page, const char *message)
{
    const size_t length = strlen(message);
    const char *const end = message + length;
    const auto *last_close = static_cast<const char *>(memrchr(message, '>', length));
    const auto *last_open = static_cast<const char *>(memrchr(message, '<', length));
    const char *previous_tag = message;
    const char *at = message;
    long indentation = 0;
    while (last_close != nullptr && at <= last_close) {
        put_blanks(page, indentation);
        at = put_decoded<'>'>(page, at, end) + 1;
        *page->next++ = '>';
        *page->next++ = '\n';
        while (*at == ' ')
            at++;
        if (last_open == nullptr || at > last_open)
            return;
        if (*at != '<') {
            put_blanks(page, indentation + 2);
            at = put_decoded<'<'>(page, at, end);
            *page->next++ = '\n';
        }
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
    page layout;
    flockfile(stdout);
    put_layout(&layout, message);
    page_flush(&layout);
    funlockfile(stdout);
    fflush(stdout);
}
