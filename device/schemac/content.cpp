#include "device/schemac/content.h"

#include <algorithm>
#include <charconv>

namespace
{

constexpr size_t most_around = 25; // a word

std::string_view take_word(std::string_view *words)
{
    size_t size = 0;
    const auto end = std::from_chars(words->begin() + 1, words->end(), size).ptr + 2;
    words->remove_prefix(static_cast<size_t>(end - words->begin()) + size + 2);
    return {end, size};
}

} // namespace

// A head that is copied after its digits were written one by one takes a processor longer than
// all else here: it is written where it stays.
void content_append_word(std::string *words, std::string_view word)
{
    const size_t start = words->size();
    words->resize(start + word.size() + most_around);
    char *end = words->data() + start;
    *end++ = '$';
    end = std::to_chars(end, end + most_around, word.size()).ptr;
    for (const std::string_view part : {std::string_view("\r\n"), word, std::string_view("\r\n")})
        end = std::copy(part.begin(), part.end(), end);
    words->resize(static_cast<size_t>(end - words->data()));
}

void content_add_field(content_hash *hash, std::string_view name, std::string_view value)
{
    hash->count++;
    content_append_word(&hash->words, name);
    content_append_word(&hash->words, value);
}

std::vector<std::pair<std::string_view, std::string_view>> content_fields(std::string_view words)
{
    std::vector<std::pair<std::string_view, std::string_view>> fields;
    while (!words.empty()) {
        const std::string_view name = take_word(&words);
        fields.emplace_back(name, take_word(&words));
    }
    return fields;
}
