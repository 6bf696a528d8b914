// The parser tells of an element when its start tag has been read, and stands at the bracket
// that closes it. It compares each attribute of a tag with all others, so it gets nothing of a
// tag that is far too long. (The parser that is fed would be simpler to stop, but goes through a
// long CDATA section again and again.) Its table of names does not grow beyond some thousand
// places, so that a text of ever new names would take the square of its size.
#include "device/gateway/xml_walk.h"

#include <algorithm>
#include <libxml/parserInternals.h>
#include <memory>
#include <new>
#include <utility>

#include "device/gateway/xml_characters.h"
#include "device/gateway/xml_pieces.h"

namespace
{

constexpr size_t attributes_limit = 4096;
constexpr size_t tag_limit = 2 * attributes_limit;

// With the namespaces, and what is in the piece that the parser has got.
constexpr int names_limit = 65536;

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
    walk->is_leaf = true;
    walk->leaf_size = 0;
    if (!is_known) {
        *element = {};
        take_step(walk, xml_step_fail);
    } else if (walk->events->start != nullptr) {
        take_step(walk, walk->events->start(walk->context, walk));
    }
}

void on_end(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    auto *walk = static_cast<xml_walk *>(context);
    walk->open[walk->depth - 1].end = position(walk);
    take_step(walk, walk->events->end(walk->context, walk));
    while (walk->space_count > 0 && walk->spaces[walk->space_count - 1].depth == walk->depth)
        walk->space_count--;
    walk->is_leaf = false;
    walk->depth--;
}

void on_text(void *context, const xmlChar *text, int size)
{
    auto *walk = static_cast<xml_walk *>(context);
    const std::string_view piece(reinterpret_cast<const char *>(text), static_cast<size_t>(size));
    walk->leaf_size += piece.copy(walk->leaf + walk->leaf_size, xml_leaf_size - walk->leaf_size);
    if (walk->events->text != nullptr)
        take_step(walk, walk->events->text(walk->context, walk, piece));
}

// A message may not have one; so none of its entities are ever declared.
void on_document_type(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    take_step(static_cast<xml_walk *>(context), xml_step_fail);
}

// Measures the tags that begin in front of end: the text is usable up to one that is too long. A
// short text has none.
void measure_tags(xml_walk *walk, size_t end)
{
    xml_piece piece;
    while (walk->text.size() > tag_limit && walk->measured < end &&
           walk->measured < walk->usable.size()) {
        xml_piece_next(walk->text, &walk->measured, &piece);
        const bool is_tag = piece.kind == xml_piece_start || piece.kind == xml_piece_empty;
        if (is_tag && std::min(piece.end, walk->text.size()) - piece.from > tag_limit)
            walk->usable = walk->text.substr(0, piece.from);
    }
}

// Gives the parser the next piece; -1: there is no use.
int give_piece(void *context, char *buffer, int size)
{
    auto *walk = static_cast<xml_walk *>(context);
    const xmlParserCtxt *parser = walk->parser.get();
    if (parser->wellFormed == 0 || walk->step != xml_step_on)
        return -1;
    if (xmlDictSize(parser->dict) - walk->known_names > names_limit)
        walk->usable = walk->text.substr(0, walk->given);
    measure_tags(walk, walk->given + static_cast<size_t>(size));
    const size_t got = walk->usable.copy(buffer, static_cast<size_t>(size), walk->given);
    walk->given += got;
    // A parser that is near the end would ask for more at each tag.
    if (walk->given == walk->usable.size())
        parser->input->buf->readcallback = nullptr;
    return static_cast<int>(got);
}

int make_parser(xml_walk *walk)
{
    walk->parser.reset(xmlNewParserCtxt());
    if (walk->parser == nullptr)
        return -1;
    walk->parser->userData = walk;
    xmlSAXHandler *handler = walk->parser->sax;
    *handler = {};
    handler->initialized = XML_SAX2_MAGIC;
    handler->startElementNs = on_start;
    handler->endElementNs = on_end;
    handler->characters = on_text;
    handler->ignorableWhitespace = on_text;
    handler->cdataBlock = on_text;
    handler->internalSubset = on_document_type;
    return 0;
}

// Whether there is a parser that is to be used again: it keeps all names that it meets, and making
// one takes longer than to read a short text.
bool serves_again(const xmlParserCtxt *parser)
{
    constexpr size_t most_known = 65536; // bytes of names
    return parser != nullptr && xmlDictGetUsage(parser->dict) <= most_known;
}

// Makes a parser ready.
int open_parser(xml_walk *walk)
{
    if (serves_again(walk->parser.get()))
        xmlCtxtReset(walk->parser.get());
    else if (make_parser(walk) != 0)
        return -1;
    xmlParserCtxt *parser = walk->parser.get();
    // The depth is limited here, and of long texts only pieces are held.
    walk->known_names = xmlDictSize(parser->dict);
    xmlCtxtUseOptions(parser,
                      XML_PARSE_NONET | XML_PARSE_NOENT | XML_PARSE_HUGE | XML_PARSE_IGNORE_ENC);
    xmlParserInputBuffer *pieces =
        xmlParserInputBufferCreateIO(give_piece, nullptr, walk, XML_CHAR_ENCODING_UTF8);
    if (pieces == nullptr)
        return -1;
    xmlParserInput *input = xmlNewIOInputStream(parser, pieces, XML_CHAR_ENCODING_UTF8);
    if (input == nullptr)
        xmlFreeParserInputBuffer(pieces);
    return input != nullptr && inputPush(parser, input) >= 0 ? 0 : -1;
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
    walk->usable = text;
    walk->measured = 0;
    walk->depth = 0;
    walk->space_count = 0;
    if (open_parser(walk) != 0)
        return -1;
    xmlParseDocument(walk->parser.get());
    if (walk->step == xml_step_on && walk->usable.size() < text.size())
        walk->step = xml_step_fail;
    const bool is_whole = walk->step == xml_step_on && walk->parser->wellFormed != 0;
    return is_whole || walk->step == xml_step_end ? 0 : -1;
}

int xml_read(std::string_view text, const xml_events *events, void *context)
{
    // Making one takes longer than most walks. An event that reads finds none, and makes another.
    static std::unique_ptr<xml_walk> kept;
    std::unique_ptr<xml_walk> walk = std::move(kept);
    if (walk == nullptr)
        walk.reset(new (std::nothrow) xml_walk{});
    const int result = walk != nullptr ? xml_walk_run(walk.get(), text, events, context) : -1;
    if (walk != nullptr && serves_again(walk->parser.get()))
        kept = std::move(walk);
    return result;
}

std::string_view xml_walk_leaf(const xml_walk *walk)
{
    return walk->is_leaf ? xml_trimmed({walk->leaf, walk->leaf_size}) : std::string_view{};
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

bool xml_is_base(const xml_element *element, std::string_view local)
{
    return xml_element_is(element, netconf_base_namespace, local);
}

bool xml_attribute_next(std::string_view *rest, xml_attribute *attribute)
{
    skip_blanks(rest);
    attribute->name = rest->substr(0, rest->find_first_of(" \t\r\n="));
    rest->remove_prefix(attribute->name.size());
    const size_t quote = rest->find_first_of("\"'");
    if (quote == std::string_view::npos)
        return false;
    const size_t end = rest->find((*rest)[quote], quote + 1);
    if (end == std::string_view::npos)
        return false;
    attribute->value = rest->substr(quote + 1, end - quote - 1);
    attribute->quoted = rest->substr(quote, end + 1 - quote);
    rest->remove_prefix(end + 1);
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
