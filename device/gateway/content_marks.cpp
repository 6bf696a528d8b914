#include "device/gateway/content_marks.h"

#include <stddef.h>

#include "device/gateway/text_pieces.h"

namespace
{

constexpr unsigned depth_limit = 256;

// A longer word is neither a number nor the name of something.
constexpr size_t word_limit = 256;

constexpr std::string_view blanks = " \t\r\n";
constexpr uint64_t first_mark = 0xCBF29CE484222325;

// One word of a value, as far as it is known.
struct value_word {
    char bytes[word_limit];
    size_t size; // of all of it; what passes the limit is in the mark only
    uint64_t mark;
};

// What is known of a value while its pieces are read.
struct value_marks {
    uint64_t plain;
    uint64_t words; // a sum, so that their order makes no difference
    value_word word;
};

uint64_t mark_bytes(uint64_t mark, std::string_view bytes)
{
    for (const char byte : bytes)
        mark = (mark ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    return mark;
}

// Spreads each bit over all, so that sums of marks say as much as marks.
uint64_t spread(uint64_t mark)
{
    mark = (mark ^ mark >> 30) * 0xBF58476D1CE4E5B9;
    mark = (mark ^ mark >> 27) * 0x94D049BB133111EB;
    return mark ^ mark >> 31;
}

// Differs with the order of the two.
uint64_t join(uint64_t mark, uint64_t next)
{
    return spread(mark * 3 + spread(next));
}

uint64_t mark_of(std::string_view bytes)
{
    return spread(mark_bytes(first_mark, bytes));
}

uint64_t mark_name(std::string_view uri, std::string_view local)
{
    return join(mark_of(uri), mark_of(local));
}

bool is_digit(char byte)
{
    return byte >= '0' && byte <= '9';
}

// True when the word is digits, maybe with a sign and a fraction.
bool is_number(std::string_view word)
{
    if (!word.empty() && (word.front() == '+' || word.front() == '-'))
        word.remove_prefix(1);
    if (word.empty() || !is_digit(word.front()) || !is_digit(word.back()))
        return false;
    unsigned points = 0;
    for (const char byte : word) {
        if (byte == '.')
            points++;
        else if (!is_digit(byte))
            return false;
    }
    return points <= 1;
}

// Marks a number without what adds nothing to it.
uint64_t mark_number(std::string_view number)
{
    const bool is_negative = number.front() == '-';
    number.remove_prefix(is_negative || number.front() == '+' ? 1 : 0);
    if (number.find('.') != std::string_view::npos) {
        number = number.substr(0, number.find_last_not_of('0') + 1);
        if (number.back() == '.')
            number.remove_suffix(1);
    }
    const size_t zeros = number.find_first_not_of('0');
    number.remove_prefix(zeros == std::string_view::npos ? number.size() : zeros);
    return join(mark_of(is_negative && !number.empty() ? "-" : "+"), mark_of(number));
}

// Parts a word at a prefix that is declared where it stands.
bool split_name(const xml_element *element, std::string_view word, std::string_view *uri,
                std::string_view *local)
{
    const size_t colon = word.find(':');
    if (colon == std::string_view::npos || colon == 0)
        return false;
    if (!xml_namespace_find(element, word.substr(0, colon + 1), uri))
        return false;
    *local = word.substr(colon + 1);
    return true;
}

std::string_view short_word(const value_word *word)
{
    return {word->bytes, word->size < word_limit ? word->size : word_limit};
}

void end_word(const xml_element *element, value_marks *marks)
{
    value_word *word = &marks->word;
    if (word->size == 0)
        return;
    uint64_t mark = spread(word->mark);
    if (word->size <= word_limit) {
        std::string_view text = short_word(word);
        std::string_view uri;
        split_name(element, text, &uri, &text);
        mark = is_number(text) ? mark_number(text) : mark_of(text);
    }
    marks->words += mark;
    word->size = 0;
    word->mark = first_mark;
}

void add_to_word(value_word *word, std::string_view part)
{
    if (word->size < word_limit) {
        const size_t room = word_limit - word->size;
        part.substr(0, room).copy(word->bytes + word->size, room);
    }
    word->size += part.size();
    word->mark = mark_bytes(word->mark, part);
}

void add_piece(const xml_element *element, std::string_view piece, value_marks *marks)
{
    marks->plain = mark_bytes(marks->plain, piece);
    while (!piece.empty()) {
        const size_t blank = piece.find_first_of(blanks);
        add_to_word(&marks->word, piece.substr(0, blank));
        if (blank == std::string_view::npos)
            return;
        end_word(element, marks);
        piece.remove_prefix(blank + 1);
    }
}

// Marks what stands between the tags of an element without children.
void mark_value(const xml_element *element, std::string_view text, content_marks *marks)
{
    const size_t first = text.find_first_not_of(blanks);
    const size_t from = first == std::string_view::npos ? text.size() : first;
    const size_t end = text.find_last_not_of(blanks) + 1;
    const std::string_view around[] = {text.substr(0, from),
                                       end > from ? text.substr(end) : std::string_view{}};
    text_pieces pieces{end > from ? text.substr(from, end - from) : std::string_view{}, {}};
    value_marks value{first_mark, 0, {{}, 0, first_mark}};
    std::string_view piece;
    while (text_pieces_next(&pieces, &piece))
        add_piece(element, piece, &value);
    uint64_t exact = spread(value.plain);
    std::string_view uri;
    std::string_view local;
    const bool is_short = value.word.size > 0 && value.word.size <= word_limit;
    const bool is_one_word = is_short && value.words == 0;
    if (is_one_word && split_name(element, short_word(&value.word), &uri, &local))
        exact = mark_name(uri, local);
    end_word(element, &value);
    marks->exact = join(marks->exact, join(join(mark_of(around[0]), exact), mark_of(around[1])));
    marks->plain = join(marks->plain, spread(value.plain));
    marks->loose = join(marks->loose, value.words);
}

bool says_operation(const xml_element *element)
{
    constexpr std::string_view name = ":operation";
    std::string_view rest = element->attributes;
    xml_attribute attribute;
    while (xml_attribute_next(&rest, &attribute)) {
        const size_t size = attribute.name.size();
        if (size > name.size() && attribute.name.substr(size - name.size()) == name)
            return true;
    }
    return false;
}

void begin_marks(const xml_element *element, content_marks *marks)
{
    const uint64_t name = mark_name(element->uri, element->local);
    *marks = {name, name, name, false, says_operation(element)};
}

// The text between the tags of an element without children, behind whose end
// tag the scan stands. No end tag holds a '<'.
std::string_view text_of(const xml_scan *scan, const xml_element *element)
{
    if (element->is_empty)
        return {};
    const size_t end = scan->text.rfind('<', scan->at - 1);
    return scan->text.substr(element->content, end - element->content);
}

// Goes as deep as the elements stand in one another, up to the limit.
bool read_marks(xml_scan *scan, const xml_element *element, unsigned depth, content_marks *marks)
{
    begin_marks(element, marks);
    uint64_t plain = 0;
    uint64_t loose = 0;
    xml_element child;
    while (xml_scan_child(scan, element, &child)) {
        content_marks inner;
        if (depth == depth_limit || !read_marks(scan, &child, depth + 1, &inner))
            return false;
        marks->has_children = true;
        marks->has_operation = marks->has_operation || inner.has_operation;
        marks->exact = join(marks->exact, inner.exact);
        plain += inner.plain;
        loose += inner.loose;
    }
    if (scan->failed)
        return false;
    if (!marks->has_children) {
        mark_value(element, text_of(scan, element), marks);
        return true;
    }
    marks->plain = join(marks->plain, plain);
    marks->loose = join(marks->loose, loose);
    return true;
}

} // namespace

bool content_marks_read(xml_scan *scan, const xml_element *element, content_marks *marks)
{
    return read_marks(scan, element, 1, marks);
}
