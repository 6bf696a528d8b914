// The parser tells of an element when its start tag has been read, and stands at the bracket
// that closes it. It compares each attribute of a tag with all others. So it gets the text in
// small pieces, and no further one when it has been in one tag for some of them. (The parser that
// is fed would be simpler to stop, but goes through a long CDATA section again and again.)
#include "device/gateway/xml_walk.h"

#include "device/gateway/xml_characters.h"

namespace
{

constexpr size_t attributes_limit = 4096;
constexpr size_t waiting_limit = 2 * attributes_limit;

std::string_view view(const xmlChar *text)
{
    return text != nullptr ? reinterpret_cast<const char *>(text) : std::string_view{};
}

size_t position(const xml_walk *walk)
{
    const long consumed = xmlByteConsumed(walk->parser.get());
    return consumed < 0 ? walk->text.size() : static_cast<size_t>(consumed);
}

void take_step(xml_walk *walk, xml_step step)
{
    walk->step = step;
    walk->settled = position(walk);
    if (step != xml_step_on)
        xmlStopParser(walk->parser.get());
}

// Finds the tag that ends where the parser stands. No attribute holds a '<'.
int locate(const xml_walk *walk, std::string_view prefix, xml_element *element)
{
    const std::string_view text = walk->text;
    const size_t end = position(walk);
    if (end >= text.size() || (text[end] != '>' && text.substr(end, 2) != "/>"))
        return -1;
    element->from = text.rfind('<', end);
    element->content = end + (text[end] == '/' ? 2 : 1);
    const size_t prefix_size = prefix.empty() ? 0 : prefix.size() + 1;
    const size_t name_size = prefix_size + element->local.size();
    if (element->from == std::string_view::npos || end - element->from <= name_size)
        return -1;
    const std::string_view name = text.substr(element->from + 1, name_size);
    element->attributes = text.substr(element->from + 1 + name_size);
    element->attributes = element->attributes.substr(0, end - element->from - 1 - name_size);
    const bool is_right = name.substr(prefix_size) == element->local &&
                          name.substr(0, prefix.size()) == prefix &&
                          element->attributes.size() <= attributes_limit;
    element->prefix = name.substr(0, prefix_size);
    element->local = name.substr(prefix_size);
    return is_right ? 0 : -1;
}

// spaces: count pairs of a prefix and a namespace.
int declare(xml_walk *walk, int count, const xmlChar **spaces)
{
    for (; count > 0; count--, spaces += 2) {
        if (walk->space_count == xml_space_limit)
            return -1;
        walk->spaces[walk->space_count++] = {view(spaces[0]), view(spaces[1]), walk->depth};
    }
    return 0;
}

// Whether the parser has told of as many attributes, declarations among them, as stand in the
// tag. It leaves out a prefix that is declared as nothing, which a server may refuse.
bool is_told_whole(const xml_element *element, int told)
{
    std::string_view rest = element->attributes;
    xml_attribute attribute;
    while (xml_attribute_next(&rest, &attribute))
        told--;
    return told == 0;
}

// attributes: count groups of name, prefix, namespace, value and its end.
bool says_operation(int count, const xmlChar **attributes)
{
    for (; count > 0; count--, attributes += 5) {
        if (attributes[1] != nullptr && view(attributes[0]) == "operation")
            return true;
    }
    return false;
}

void on_start(void *context, const xmlChar *local, const xmlChar *prefix, const xmlChar *uri,
              int space_count, const xmlChar **spaces, int attribute_count, int,
              const xmlChar **attributes)
{
    auto *walk = static_cast<xml_walk *>(context);
    if (walk->depth == xml_depth_limit) {
        take_step(walk, xml_step_fail);
        return;
    }
    xml_element *element = &walk->open[walk->depth++];
    *element = {};
    element->local = view(local);
    element->uri = view(uri);
    element->has_operation = says_operation(attribute_count, attributes);
    const bool is_bound = prefix == nullptr || uri != nullptr;
    const bool is_known = is_bound && declare(walk, space_count, spaces) == 0 &&
                          locate(walk, view(prefix), element) == 0 &&
                          is_told_whole(element, space_count + attribute_count);
    take_step(walk, is_known ? walk->events->start(walk->context, walk) : xml_step_fail);
    walk->settled = element->content;
}

void on_end(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    auto *walk = static_cast<xml_walk *>(context);
    take_step(walk, walk->events->end(walk->context, walk, position(walk)));
    while (walk->space_count > 0 && walk->spaces[walk->space_count - 1].depth == walk->depth)
        walk->space_count--;
    walk->depth--;
}

void on_text(void *context, const xmlChar *text, int size)
{
    auto *walk = static_cast<xml_walk *>(context);
    const std::string_view piece(reinterpret_cast<const char *>(text), static_cast<size_t>(size));
    // The parser may not have moved over it yet.
    const bool is_ahead = text == walk->parser->input->cur;
    const bool is_wanted = walk->events->text != nullptr;
    take_step(walk, is_wanted ? walk->events->text(walk->context, walk, piece) : xml_step_on);
    walk->settled += is_ahead ? piece.size() : 0;
}

// After the XML declaration.
void on_document(void *context)
{
    take_step(static_cast<xml_walk *>(context), xml_step_on);
}

void on_comment(void *context, const xmlChar *)
{
    take_step(static_cast<xml_walk *>(context), xml_step_on);
}

void on_instruction(void *context, const xmlChar *, const xmlChar *)
{
    take_step(static_cast<xml_walk *>(context), xml_step_on);
}

// A message may not have one; so none of its entities are ever declared.
void on_document_type(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    take_step(static_cast<xml_walk *>(context), xml_step_fail);
}

// Whether the parser has been in one tag for too long. Of blanks around the root it tells
// nothing, and of a text it may have told all but the last character.
bool is_in_long_tag(xml_walk *walk)
{
    constexpr size_t character_limit = 4;
    while (walk->settled < walk->given && xml_is_blank(walk->text[walk->settled]))
        walk->settled++;
    const size_t from = walk->text.substr(walk->settled, character_limit + 1).find('<');
    if (from == std::string_view::npos || walk->given - walk->settled <= waiting_limit)
        return false;
    const char next = walk->text[walk->settled + from + 1];
    return next != '!' && next != '?';
}

// Gives the parser the next piece; -1: there is no use.
int give_piece(void *context, char *buffer, int size)
{
    auto *walk = static_cast<xml_walk *>(context);
    if (walk->parser != nullptr && is_in_long_tag(walk))
        walk->step = xml_step_fail;
    if (walk->step != xml_step_on)
        return -1;
    const size_t got = walk->text.copy(buffer, static_cast<size_t>(size), walk->given);
    walk->given += got;
    return static_cast<int>(got);
}

int open_parser(xml_walk *walk)
{
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startDocument = on_document;
    handler.startElementNs = on_start;
    handler.endElementNs = on_end;
    handler.characters = on_text;
    handler.ignorableWhitespace = on_text;
    handler.cdataBlock = on_text;
    handler.comment = on_comment;
    handler.processingInstruction = on_instruction;
    handler.internalSubset = on_document_type;
    walk->parser.reset(
        xmlCreateIOParserCtxt(&handler, walk, give_piece, nullptr, walk, XML_CHAR_ENCODING_UTF8));
    if (walk->parser == nullptr)
        return -1;
    // The depth is limited here, and of long texts only pieces are held.
    xmlCtxtUseOptions(walk->parser.get(),
                      XML_PARSE_NONET | XML_PARSE_NOENT | XML_PARSE_HUGE | XML_PARSE_IGNORE_ENC);
    return 0;
}

void skip_blanks(std::string_view *text)
{
    const size_t size = text->find_first_not_of(xml_blanks);
    text->remove_prefix(size == std::string_view::npos ? text->size() : size);
}

} // namespace

int xml_walk_run(xml_walk *walk, std::string_view text, const xml_events *events, void *context)
{
    walk->text = text;
    walk->events = events;
    walk->context = context;
    walk->step = xml_step_on;
    walk->given = 0;
    walk->settled = 0;
    walk->depth = 0;
    walk->space_count = 0;
    if (open_parser(walk) != 0)
        return -1;
    xmlParseDocument(walk->parser.get());
    const bool is_whole = walk->step == xml_step_on && walk->parser->wellFormed != 0;
    return is_whole || walk->step == xml_step_end ? 0 : -1;
}

const xml_space *xml_walk_space(const xml_walk *walk, std::string_view prefix)
{
    for (unsigned at = walk->space_count; at > 0; at--) {
        if (walk->spaces[at - 1].prefix == prefix)
            return &walk->spaces[at - 1];
    }
    return nullptr;
}

bool xml_element_is(const xml_element *element, std::string_view uri, std::string_view local)
{
    return element->local == local && element->uri == uri;
}

bool xml_attribute_next(std::string_view *rest, xml_attribute *attribute)
{
    skip_blanks(rest);
    attribute->name = rest->substr(0, rest->find_first_of(" \t\r\n="));
    rest->remove_prefix(attribute->name.size());
    const size_t quote = rest->find_first_of("\"'");
    if (quote == std::string_view::npos)
        return false;
    attribute->quote = (*rest)[quote];
    rest->remove_prefix(quote + 1);
    const size_t size = rest->find(attribute->quote);
    if (size == std::string_view::npos)
        return false;
    attribute->value = rest->substr(0, size);
    rest->remove_prefix(size + 1);
    return true;
}

bool xml_attribute_find(std::string_view attributes, std::string_view name,
                        xml_attribute *attribute)
{
    while (xml_attribute_next(&attributes, attribute)) {
        if (attribute->name == name)
            return true;
    }
    return false;
}
