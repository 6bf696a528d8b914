#include "device/schemac/text_tools.h"

#include <algorithm>

#include "code_point.h"
#include "terminal_text.h"

namespace
{

constexpr std::string_view ellipsis = "\xe2\x80\xa6";

bool is_blank(char letter)
{
    return letter == ' ' || (letter >= '\t' && letter <= '\r');
}

bool is_plain(char letter)
{
    return letter >= ' ' && letter <= '~';
}

} // namespace

std::string printable_text(std::string_view text)
{
    std::string shown(text);
    const auto odd = std::find_if_not(shown.begin(), shown.end(), is_plain); // mostly none
    const auto start = static_cast<size_t>(odd - shown.begin());
    shown.resize(start + terminal_text_clean(shown.data() + start, shown.size() - start));
    return shown;
}

std::string fold_text(std::string_view text)
{
    std::string folded;
    folded.reserve(text.size());
    for (const char *at = text.begin(); at != text.end();) {
        const char *word = std::find_if_not(at, text.end(), is_blank);
        at = std::find_if(word, text.end(), is_blank);
        folded.append(folded.empty() || word == at ? "" : " ").append(word, at);
    }
    return printable_text(folded);
}

std::string joined_text(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text.append(text.empty() ? "" : " ").append(word);
    return text;
}

std::string cut_text(std::string_view text, size_t limit)
{
    size_t end = text.size() > limit ? 0 : text.size(); // no character is without a byte
    for (size_t characters = 0; end < text.size(); end++) {
        if (!code_point_continues(text[end]) && characters++ == limit)
            break;
    }
    if (end == text.size())
        return std::string(text);
    std::string_view kept = text.substr(0, end);
    size_t blank = kept.rfind(' ');
    if (text[end] != ' ' && blank != std::string_view::npos && blank > end - end / 4)
        kept = kept.substr(0, blank);
    while (!kept.empty() && kept.back() == ' ')
        kept.remove_suffix(1);
    return std::string(kept).append(ellipsis);
}
