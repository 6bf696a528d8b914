#include "device/gateway/content_marks.h"

#include <bit>
#include <stdlib.h>
#include <sys/random.h>

#include "device/gateway/xml_characters.h"

namespace
{

// Where a mark begins and how it goes on is drawn anew in each process: whoever
// writes values must not be able to work out two that have one mark.
struct mark_key {
    uint64_t first;
    uint64_t factor; // odd
};

mark_key draw_key()
{
    mark_key key;
    if (getrandom(&key, sizeof key, 0) != static_cast<ssize_t>(sizeof key))
        abort();
    key.factor |= 1;
    return key;
}

const mark_key key = draw_key();

// The upper half of a product becomes the lower one. Else no bit would depend on one above
// it, and a text of two letters in the order of Thue and Morse, of 4,096 characters, would
// have the mark of the one with the letters exchanged, under any key.
uint64_t mark_byte(uint64_t mark, char byte)
{
    return std::rotl((mark ^ static_cast<unsigned char>(byte)) * key.factor, 32);
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
    uint64_t mark = key.first;
    for (const char byte : bytes)
        mark = mark_byte(mark, byte);
    return spread(mark);
}

uint64_t mark_name(std::string_view uri, std::string_view local)
{
    return join(mark_of(uri), mark_of(local));
}

// Whether the word is digits, maybe with a sign and a fraction.
bool is_number(std::string_view word)
{
    if (!word.empty() && (word.front() == '+' || word.front() == '-'))
        word.remove_prefix(1);
    return !word.empty() && word.front() != '.' && word.back() != '.' &&
           word.find_first_not_of("0123456789.") == std::string_view::npos &&
           word.find('.') == word.rfind('.');
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

// Parts a word at a prefix that is declared where it stands; the namespace, or null.
const xml_space *split_name(const xml_walk *walk, std::string_view *word)
{
    const size_t colon = word->find(':');
    if (colon == std::string_view::npos || colon == 0)
        return nullptr;
    const xml_space *space = xml_walk_space(walk, word->substr(0, colon));
    if (space != nullptr)
        word->remove_prefix(colon + 1);
    return space;
}

bool is_short(const marks_value *value)
{
    return value->word_size > 0 && value->word_size <= marks_word_limit;
}

void end_word(marks_value *value, const xml_walk *walk)
{
    if (value->word_size == 0)
        return;
    uint64_t mark = spread(value->word_mark);
    if (is_short(value)) {
        std::string_view text(value->word, value->word_size);
        split_name(walk, &text);
        mark = is_number(text) ? mark_number(text) : mark_of(text);
    }
    value->words += mark;
    value->word_size = 0;
    value->word_mark = key.first;
}

void add_to_word(marks_value *value, char byte)
{
    if (value->word_size < marks_word_limit)
        value->word[value->word_size] = byte;
    value->word_size++;
    value->word_mark = mark_byte(value->word_mark, byte);
}

void begin_value(marks_value *value)
{
    value->exact = value->whole = value->plain = value->word_mark = key.first;
    value->words = 0;
    value->word_size = 0;
    value->has_blanks = false;
}

// What the value is exactly. A name is its namespace, whatever prefix stands for it.
uint64_t exact_value(const marks_value *value, const xml_walk *walk)
{
    if (is_short(value) && !value->has_blanks) {
        std::string_view local(value->word, value->word_size);
        const xml_space *space = split_name(walk, &local);
        if (space != nullptr)
            return mark_name(space->uri, local);
    }
    return spread(value->exact);
}

void add_child(content_marks *parent, const content_marks *child)
{
    parent->has_children = true;
    parent->has_operation = parent->has_operation || child->has_operation;
    parent->exact = join(parent->exact, child->exact);
    parent->plain += child->plain;
    parent->loose += child->loose;
}

} // namespace

int marks_start(marks_builder *builder, const xml_walk *walk)
{
    if (builder->depth == marks_depth_limit)
        return -1;
    const xml_element *element = &walk->open[walk->depth - 1];
    const uint64_t name = mark_name(element->uri, element->local);
    if (builder->depth > 0)
        builder->frames[builder->depth - 1].marks.has_children = true;
    builder->frames[builder->depth++] = {{name, 0, 0, false, element->has_operation}, name};
    begin_value(&builder->value);
    return 0;
}

void marks_text(marks_builder *builder, const xml_walk *walk, std::string_view text)
{
    marks_value *value = &builder->value;
    if (builder->frames[builder->depth - 1].marks.has_children)
        return;
    for (const char byte : text) {
        value->exact = mark_byte(value->exact, byte);
        const bool is_blank = xml_is_blank(byte);
        if (value->plain != key.first || !is_blank)
            value->whole = mark_byte(value->whole, byte);
        value->has_blanks = value->has_blanks || is_blank;
        if (is_blank) {
            end_word(value, walk);
            continue;
        }
        value->plain = value->whole;
        add_to_word(value, byte);
    }
}

content_marks marks_end(marks_builder *builder, const xml_walk *walk)
{
    marks_frame *frame = &builder->frames[--builder->depth];
    content_marks *marks = &frame->marks;
    marks_value *value = &builder->value;
    if (!marks->has_children) {
        marks->exact = join(marks->exact, exact_value(value, walk));
        end_word(value, walk);
        marks->plain = spread(value->plain);
        marks->loose = value->words;
    }
    marks->plain = join(frame->name, marks->plain);
    marks->loose = join(frame->name, marks->loose);
    if (builder->depth > 0)
        add_child(&builder->frames[builder->depth - 1].marks, marks);
    return *marks;
}
