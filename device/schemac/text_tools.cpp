/* Texts of models as one line of bounded length. */
#include "device/schemac/text_tools.h"

static constexpr std::string_view ellipsis = "\xe2\x80\xa6";

/* The length of the UTF-8 character that text begins with; 0 when it is none. */
static size_t character_length(std::string_view text)
{
    auto lead = static_cast<unsigned char>(text[0]);
    size_t length = lead < 0x80 ? 1 : lead < 0xc2 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    if (lead > 0xf4 || length > text.size()) {
        return 0;
    }
    for (size_t i = 1; i < length; i++) {
        if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) {
            return 0;
        }
    }
    return length;
}

static bool is_control(std::string_view character)
{
    auto lead = static_cast<unsigned char>(character[0]);
    return lead < ' ' || lead == 0x7f ||
           (lead == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0);
}

std::string printable_text(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        size_t length = character_length(text);
        if (length == 0 || is_control(text)) {
            shown.push_back('?');
            length = length == 0 ? 1 : length;
        } else {
            shown.append(text.substr(0, length));
        }
        text.remove_prefix(length);
    }
    return shown;
}

static bool is_blank(char letter)
{
    return letter == ' ' || (letter >= '\t' && letter <= '\r');
}

std::string fold_text(std::string_view text)
{
    std::string folded;
    bool has_gap = false;
    for (char letter : text) {
        if (is_blank(letter)) {
            has_gap = true;
            continue;
        }
        if (has_gap && !folded.empty()) {
            folded.push_back(' ');
        }
        has_gap = false;
        folded.push_back(letter);
    }
    return printable_text(folded);
}

/* The offset of the character with this number, or npos when there are fewer. */
static size_t character_offset(std::string_view text, size_t number)
{
    for (size_t i = 0; i < text.size(); i++) {
        bool is_start = (static_cast<unsigned char>(text[i]) & 0xc0) != 0x80;
        if (is_start && number-- == 0) {
            return i;
        }
    }
    return std::string_view::npos;
}

std::string cut_text(std::string_view text, size_t limit)
{
    size_t end = character_offset(text, limit);
    if (end == std::string_view::npos) {
        return std::string(text);
    }
    std::string_view kept = text.substr(0, end);
    size_t blank = kept.rfind(' ');
    if (text[end] != ' ' && blank != std::string_view::npos && blank > end - end / 4) {
        kept = kept.substr(0, blank);
    }
    while (!kept.empty() && kept.back() == ' ') {
        kept.remove_suffix(1);
    }
    return std::string(kept).append(ellipsis);
}
