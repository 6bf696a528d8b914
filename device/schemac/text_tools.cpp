#include "device/schemac/text_tools.h"

#include <algorithm>
#include <utility>

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

std::string printable_text(std::string text)
{
    const auto odd = std::find_if_not(text.begin(), text.end(), is_plain); // mostly none
    const auto start = static_cast<size_t>(odd - text.begin());
    text.resize(start + terminal_text_clean(text.data() + start, text.size() - start));
    return text;
}

std::string fold_text(std::string text)
{
    size_t kept = 0;
    for (const char letter : text) {
        if (!is_blank(letter))
            text[kept++] = letter;
        else if (kept > 0 && text[kept - 1] != ' ')
            text[kept++] = ' ';
    }
    text.resize(kept > 0 && text[kept - 1] == ' ' ? kept - 1 : kept);
    return printable_text(std::move(text));
}

std::string joined_text(const std::vector<std::string> &words)
{
    std::string text;
    for (const std::string &word : words)
        text.append(text.empty() ? "" : " ").append(word);
    return text;
}

std::string cut_text(std::string text, size_t limit)
{
    size_t end = text.size() > limit ? 0 : text.size(); // no character is without a byte
    for (size_t characters = 0; end < text.size(); end++) {
        if (!code_point_continues(text[end]) && characters++ == limit)
            break;
    }
    if (end == text.size())
        return text;
    const size_t blank = std::string_view(text).substr(0, end).rfind(' ');
    if (text[end] != ' ' && blank != std::string::npos && blank > end - end / 4)
        end = blank;
    while (end > 0 && text[end - 1] == ' ')
        end--;
    text.resize(end);
    return text.append(ellipsis);
}
