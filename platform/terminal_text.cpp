#include "terminal_text.h"

#include <cstring>

#include "code_point.h"

struct code_range {
    uint32_t first;
    uint32_t last;
};

static constexpr code_range unsafe_ranges[] = {
    {0x0000, 0x001f},   /* controls */
    {0x007f, 0x009f},   /* delete and the other controls */
    {0x00ad, 0x00ad},   /* soft hyphen */
    {0x061c, 0x061c},   /* Arabic letter mark */
    {0x180e, 0x180e},   /* Mongolian vowel separator */
    {0x200b, 0x200f},   /* blanks without width, joiners, direction marks */
    {0x2028, 0x202e},   /* line and paragraph separators, embeddings and overrides */
    {0x2060, 0x206f},   /* word joiner, invisible operators, isolates */
    {0xfeff, 0xfeff},   /* byte order mark */
    {0xfff9, 0xfffb},   /* interlinear annotations */
    {0xe0000, 0xe007f}, /* tags */
};

static bool is_safe(uint32_t code)
{
    for (const code_range &range : unsafe_ranges) {
        if (code <= range.last) {
            return code < range.first;
        }
    }
    return true;
}

size_t terminal_text_next(const char *text, size_t size, bool *safe)
{
    uint32_t code = 0;
    size_t length = code_point_read(text, size, &code);
    *safe = length > 0 && is_safe(code);
    return length > 0 ? length : 1;
}

size_t terminal_text_clean(char *text, size_t size)
{
    size_t kept = 0;
    for (size_t at = 0; at < size;) {
        bool safe = false;
        size_t length = terminal_text_next(text + at, size - at, &safe);
        if (safe) {
            memmove(text + kept, text + at, length);
        } else {
            text[kept] = '?';
        }
        kept += safe ? length : 1;
        at += length;
    }
    return kept;
}
