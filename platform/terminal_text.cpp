#include "terminal_text.h"

#include <iterator>
#include <string.h>

#include "code_point.h"

namespace
{

// Controls, what turns a line or ends it, and what Unicode says is not to be seen
// (Default_Ignorable_Code_Point).
constexpr code_range unsafe_ranges[] = {
    {0x0000, 0x001f},   // controls
    {0x007f, 0x009f},   // delete and the other controls
    {0x00ad, 0x00ad},   // soft hyphen
    {0x034f, 0x034f},   // grapheme joiner
    {0x061c, 0x061c},   // Arabic letter mark
    {0x115f, 0x1160},   // Hangul fillers
    {0x17b4, 0x17b5},   // Khmer inherent vowels
    {0x180b, 0x180f},   // Mongolian variation selectors, vowel separator
    {0x200b, 0x200f},   // blanks without width, joiners, direction marks
    {0x2028, 0x202e},   // line and paragraph separators, embeddings and overrides
    {0x2060, 0x206f},   // word joiner, invisible operators, isolates
    {0x3164, 0x3164},   // Hangul filler
    {0xfe00, 0xfe0f},   // variation selectors
    {0xfeff, 0xfeff},   // byte order mark
    {0xffa0, 0xffa0},   // halfwidth Hangul filler
    {0xfff0, 0xfffb},   // unassigned, interlinear annotations
    {0x1bca0, 0x1bca3}, // shorthand format controls
    {0x1d173, 0x1d17a}, // beams and slurs of music
    {0xe0000, 0xe0fff}, // tags, variation selectors
};

} // namespace

size_t terminal_text_next(const char *text, size_t size, bool *safe)
{
    if (*text >= ' ' && *text <= '~') { // nearly all of them
        *safe = true;
        return 1;
    }
    uint32_t code = 0;
    const size_t length = code_point_read(text, size, &code);
    *safe = length > 0 && !code_point_is_among(code, unsafe_ranges, std::size(unsafe_ranges));
    return length > 0 ? length : 1;
}

size_t terminal_text_clean(char *text, size_t size)
{
    size_t kept = 0;
    for (size_t at = 0; at < size;) {
        bool safe = false;
        const size_t length = terminal_text_next(text + at, size - at, &safe);
        if (safe)
            memmove(text + kept, text + at, length);
        else
            text[kept] = '?';
        kept += safe ? length : 1;
        at += length;
    }
    return kept;
}
