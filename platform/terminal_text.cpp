#include "terminal_text.h"

#include <cstdint>
#include <cstring>

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

/* The lowest code point that a character of so many bytes is for. */
static constexpr uint32_t lowest_code[] = {0, 0, 0x80, 0x800, 0x10000};
static constexpr uint32_t highest_code = 0x10ffff;

static bool is_safe(uint32_t code)
{
    for (const code_range &range : unsafe_ranges) {
        if (code <= range.last) {
            return code < range.first;
        }
    }
    return true;
}

/* How many bytes a character with this first byte has; 0: it begins none. */
static size_t announced_length(unsigned char lead)
{
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xc0 || lead >= 0xf8) {
        return 0;
    }
    return lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
}

/* Reads the character of length bytes; false when it is none. */
static bool read_code(const char *text, size_t length, uint32_t *code)
{
    auto lead = static_cast<unsigned char>(text[0]);
    *code = length == 1 ? lead : lead & (0x7fU >> length);
    for (size_t i = 1; i < length; i++) {
        auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xc0) != 0x80) {
            return false;
        }
        *code = *code << 6 | (byte & 0x3fU);
    }
    bool is_surrogate = *code >= 0xd800 && *code <= 0xdfff;
    return *code >= lowest_code[length] && *code <= highest_code && !is_surrogate;
}

size_t terminal_text_next(const char *text, size_t size, bool *safe)
{
    size_t length = announced_length(static_cast<unsigned char>(text[0]));
    uint32_t code = 0;
    if (length == 0 || length > size || !read_code(text, length, &code)) {
        *safe = false;
        return 1;
    }
    *safe = is_safe(code);
    return length;
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
