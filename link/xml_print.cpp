// The printer cuts the raw text at every ">" and looks at nothing but the
// second character of a tag, which is fast and never fails, whatever the
// daemon sent. Self-closing tags, declarations and comments therefore count as
// opening ones and the layout of many of them in a row grows far beyond the
// text. So the layout never stands in memory as a whole: it passes through a
// page. Where the last brackets of the text stand is known from the start, so
// that one pass finds the end of a piece and copies it.
#include "link/xml_print.h"

#include <bit>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "base/escape.h"
#include "base/text.h"

namespace
{

constexpr size_t page_size = 16384;
constexpr size_t blanks_at_once = 64;
constexpr uint64_t every_byte = UINT64_MAX / UINT8_MAX; // 1 in each byte of a word

// The layout on its way to the stream. What is put there as a whole, blanks or a
// word, may reach beyond page_size. On the stack, because two threads print; wiped,
// because what passed may be a secret.
struct page {
    char bytes[page_size + blanks_at_once];
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

// Room for blanks or a word: makes it where there is none, and returns its size at least.
size_t page_room(page *page)
{
    if (page->next >= page->bytes + page_size)
        page_flush(page);
    return static_cast<size_t>(page->bytes + page_size - page->next);
}

void put_character(page *page, char character)
{
    page_room(page);
    *page->next++ = character;
}

void put_blanks(page *page, long count)
{
    constexpr long at_once = blanks_at_once;
    for (; count > 0; count -= at_once) {
        page_room(page);
        memset(page->next, ' ', blanks_at_once);
        page->next += count < at_once ? count : at_once;
    }
}

// The bytes of the text in their order, the first one lowest.
uint64_t word_at(const char *text)
{
    uint64_t word = 0;
    memcpy(&word, text, sizeof word);
    return std::endian::native == std::endian::big ? __builtin_bswap64(word) : word;
}

// The highest bit of each byte that is zero. Bits above the lowest one may be wrong.
uint64_t zero_bytes(uint64_t word)
{
    return (word - every_byte) & ~word & (every_byte << 7);
}

// Copies words of the text while the page and the text have room for one, up to the
// first byte that is `mark` or "&"; returns where that is, or where the room ends.
const char *put_words(page *page, const char *at, size_t left, char mark)
{
    const uint64_t marks = every_byte * static_cast<unsigned char>(mark);
    const uint64_t ampersands = every_byte * static_cast<unsigned char>('&');
    const size_t room = page_room(page);
    char *const next = page->next;
    size_t done = 0;
    for (; done < room && left - done >= sizeof(uint64_t); done += sizeof(uint64_t)) {
        memcpy(next + done, at + done, sizeof(uint64_t));
        const uint64_t word = word_at(at + done);
        const uint64_t found = zero_bytes(word ^ marks) | zero_bytes(word ^ ampersands);
        if (found != 0) {
            done += static_cast<size_t>(__builtin_ctzll(found)) / 8;
            break;
        }
    }
    page->next = next + done;
    return at + done;
}

// Copies what stands before the next `mark`, with its entities decoded; returns where
// that is. There is one before `end`. No entity holds a mark.
const char *put_decoded(page *page, const char *at, const char *end, char mark)
{
    for (;;) {
        at = put_words(page, at, static_cast<size_t>(end - at), mark);
        if (*at == mark)
            return at;
        char character = '\0';
        at += unescape_one(at, static_cast<size_t>(end - at), &character);
        put_character(page, character);
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
        at = put_decoded(page, at, end, '>') + 1;
        put_character(page, '>');
        put_character(page, '\n');
        while (*at == ' ')
            at++;
        if (last_open == nullptr || at > last_open)
            return;
        if (*at != '<') {
            put_blanks(page, indentation + 2);
            at = put_decoded(page, at, end, '<');
            put_character(page, '\n');
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
