// A parser takes longer for a large reply than reading and printing it, and for a reply
// all that is wanted of it is that it is well-formed. This reader tells so for what
// daemons send: elements and attributes with names of ASCII letters, text with the
// usual entities. It is stricter than XML: whatever it does not know, and whatever
// comes near a limit of the parser, it leaves to the parser. What it accepts, the
// parser accepts; tests/fuzz/root_fuzz holds the two against each other.
#include "link/xml_plain.h"

#include <libxml/parserInternals.h>
#include <stdint.h>
#include <string_view>

#include "base/text.h"
#include "code_point.h"
#include "link/byte_words.h"

namespace
{

constexpr size_t depth_limit = 128;
constexpr size_t attribute_limit = 16;
constexpr size_t name_limit = 1000;
constexpr size_t value_limit = 1000000;
constexpr size_t text_limit = XML_MAX_TEXT_LENGTH;
constexpr ptrdiff_t step_margin = 20;

constexpr std::string_view declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
constexpr std::string_view entities[] = {"&lt;",   "&gt;", "&amp;", "&quot;",
                                         "&apos;", "&#9;", "&#10;", "&#13;"};

enum byte_class : uint8_t {
    byte_other,
    byte_text,       // stands in text for itself
    byte_blank,      // so does white space
    byte_name,       // stands in a name, and in text
    byte_name_start, // may begin a name
};

struct class_table {
    uint8_t of[256] = {};

    constexpr class_table()
    {
        for (int byte = ' '; byte < 0x7f; byte++)
            of[byte] = byte_text;
        for (int letter = 0; letter < 26; letter++)
            of['a' + letter] = of['A' + letter] = byte_name_start;
        of['_'] = byte_name_start;
        for (int digit = '0'; digit <= '9'; digit++)
            of[digit] = byte_name;
        of['-'] = of['.'] = byte_name;
        of[' '] = of['\t'] = of['\n'] = of['\r'] = byte_blank;
        of['<'] = of['&'] = of[']'] = byte_other;
    }
};

constexpr class_table classes;

uint8_t class_of(char byte)
{
    return classes.of[static_cast<unsigned char>(byte)];
}

struct plain_reader {
    const char *start;
    const char *at;
    const char *end;
    std::string_view open[depth_limit]; // names of the elements that are open
    size_t depth;
    bool is_refused; // by the parser, for sure
};

bool take(plain_reader *reader, char byte)
{
    if (reader->at == reader->end || *reader->at != byte)
        return false;
    reader->at++;
    return true;
}

bool take_blanks(plain_reader *reader)
{
    const char *start = reader->at;
    while (reader->at < reader->end && class_of(*reader->at) == byte_blank)
        reader->at++;
    return reader->at > start;
}

bool take_name_part(plain_reader *reader)
{
    if (reader->at == reader->end || class_of(*reader->at) != byte_name_start)
        return false;
    while (reader->at < reader->end && class_of(*reader->at) >= byte_name)
        reader->at++;
    return true;
}

// A name, with its prefix if it has one; empty where there is none.
std::string_view take_name(plain_reader *reader)
{
    const char *start = reader->at;
    if (!take_name_part(reader) || (take(reader, ':') && !take_name_part(reader)))
        return {};
    const std::string_view name(start, static_cast<size_t>(reader->at - start));
    return name.size() <= name_limit ? name : std::string_view();
}

// A character of UTF-8 in more bytes than one; XML allows all but these two.
bool take_character(plain_reader *reader)
{
    uint32_t code = 0;
    const size_t length =
        code_point_read(reader->at, static_cast<size_t>(reader->end - reader->at), &code);
    reader->at += length;
    return length > 1 && code != 0xfffe && code != 0xffff;
}

bool take_entity(plain_reader *reader)
{
    const std::string_view rest(reader->at, static_cast<size_t>(reader->end - reader->at));
    for (const std::string_view entity : entities) {
        if (text_starts_with(rest, entity)) {
            reader->at += entity.size();
            return true;
        }
    }
    return false;
}

// A bracket that is not followed by another: "]]>" may not stand in a text.
bool take_bracket(plain_reader *reader)
{
    const bool is_one =
        reader->end - reader->at > 1 && reader->at[0] == ']' && reader->at[1] != ']';
    reader->at += is_one ? 1 : 0;
    return is_one;
}

// Passes by words that hold nothing but printable characters of text.
const char *pass_words(const char *at, const char *end)
{
    for (; end - at >= static_cast<ptrdiff_t>(word_size); at += word_size) {
        const uint64_t word = word_at(at);
        const uint64_t unprintable = word | (word + every_byte) | (word - every_byte * ' ');
        const uint64_t marks = word_find(word, '<') | word_find(word, '&') | word_find(word, ']');
        const uint64_t found = (unprintable | marks) & every_top_bit;
        if (found != 0)
            return at + word_first(found);
    }
    return at;
}

// Passes by what stands in a text for itself.
void pass_text(plain_reader *reader)
{
    for (;;) {
        reader->at = pass_words(reader->at, reader->end);
        if (reader->at == reader->end || class_of(*reader->at) == byte_other)
            return;
        reader->at++;
    }
}

// The parser bounds how far it stands from the start of what it holds, but looks at that
// only where less than INPUT_CHUNK bytes are left. Where less than twice as many are, it
// lets go of what it has passed. So of a long document it refuses one step, from tag to
// text or back, over all that lies between: the one that ends here and began at `from`, for
// sure with a margin, perhaps with a negative one.
bool steps_too_far(const plain_reader &reader, const char *from, ptrdiff_t margin)
{
    return reader.end - reader.at < INPUT_CHUNK - margin &&
           reader.end - from > ptrdiff_t{2} * INPUT_CHUNK + margin &&
           reader.at - reader.start > XML_MAX_LOOKUP_LIMIT + margin;
}

// A text up to the next tag. Where there are entities, carriage returns or other than
// ASCII characters, the parser makes pieces of it, and bounds their length together. A
// text in one piece it takes at any length.
bool take_text(plain_reader *reader)
{
    const char *start = reader->at;
    bool is_whole = true;
    for (;;) {
        pass_text(reader);
        const char *at = reader->at;
        if (at == reader->end)
            return false;
        if (*at == '<') {
            const std::string_view text(start, static_cast<size_t>(at - start));
            const bool is_far = steps_too_far(*reader, start, -step_margin);
            if (text.size() <= text_limit && !is_far)
                return true;
            is_whole = is_whole && text.find('\r') == std::string_view::npos;
            reader->is_refused = is_whole && steps_too_far(*reader, start, step_margin);
            return is_whole && !is_far;
        }
        if (take_bracket(reader))
            continue;
        is_whole = false;
        if (!take_entity(reader) && !take_character(reader))
            return false;
    }
}

bool take_value(plain_reader *reader)
{
    const char *start = reader->at;
    const char quote = start < reader->end ? *start : '\0';
    if (quote != '"' && quote != '\'')
        return false;
    reader->at++;
    while (reader->at < reader->end && *reader->at != quote && class_of(*reader->at) != byte_other)
        reader->at++;
    return static_cast<size_t>(reader->at - start) <= value_limit && take(reader, quote);
}

bool stands_at_tag_end(const plain_reader &reader)
{
    return reader.at < reader.end && (*reader.at == '/' || *reader.at == '>');
}

// What stands in a tag after its name, up to "/" or ">". No name comes twice.
bool take_attributes(plain_reader *reader)
{
    std::string_view names[attribute_limit];
    size_t count = 0;
    while (take_blanks(reader) && !stands_at_tag_end(*reader)) {
        const std::string_view name = take_name(reader);
        if (name.empty() || count == attribute_limit || !take(reader, '=') || !take_value(reader))
            return false;
        for (size_t i = 0; i < count; i++) {
            if (names[i] == name)
                return false;
        }
        names[count] = name;
        count++;
    }
    return true;
}

bool take_start(plain_reader *reader, std::string_view name)
{
    if (name.empty() || (!stands_at_tag_end(*reader) && !take_attributes(reader)))
        return false;
    if (take(reader, '/'))
        return take(reader, '>');
    if (reader->depth == depth_limit || !take(reader, '>'))
        return false;
    reader->open[reader->depth] = name;
    reader->depth++;
    return true;
}

bool take_end(plain_reader *reader)
{
    const std::string_view rest(reader->at, static_cast<size_t>(reader->end - reader->at));
    const std::string_view name = reader->open[reader->depth - 1];
    if (!text_starts_with(rest, name))
        return false;
    reader->at += name.size();
    reader->depth--;
    take_blanks(reader);
    return take(reader, '>');
}

bool take_tag(plain_reader *reader)
{
    return take(reader, '/') ? take_end(reader) : take_start(reader, take_name(reader));
}

// What is inside the root, and its end.
bool take_content(plain_reader *reader)
{
    while (reader->depth > 0) {
        const char *from = reader->at;
        if (!(take(reader, '<') ? take_tag(reader) : take_text(reader)) ||
            steps_too_far(*reader, from, -step_margin))
            return false;
    }
    return true;
}

bool has_local_name(std::string_view name, std::string_view local)
{
    const size_t colon = name.find(':');
    return text_slice(name, colon == std::string_view::npos ? 0 : colon + 1) == local;
}

} // namespace

xml_look xml_look_at(const char *text, size_t length, const char *name)
{
    plain_reader reader;
    reader.start = reader.at = text;
    reader.end = text + length;
    reader.depth = 0;
    reader.is_refused = false;
    if (text_starts_with({text, length}, declaration)) {
        reader.at += declaration.size();
        take_blanks(&reader);
    }
    if (!take(&reader, '<'))
        return xml_look_odd;
    const std::string_view root = take_name(&reader);
    if (has_local_name(root, name) || !take_start(&reader, root) || !take_content(&reader))
        return reader.is_refused ? xml_look_refused : xml_look_odd;
    const char *after = reader.at;
    take_blanks(&reader);
    take(&reader, '\0'); // a daemon may count the end of its text
    const bool is_plain = reader.at == reader.end && !steps_too_far(reader, after, -step_margin);
    return is_plain ? xml_look_plain : xml_look_odd;
}
