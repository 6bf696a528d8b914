// The push parser tells of an element when its start tag has been read, and stands at
// the bracket that closes it. It reads a start tag only when all of that is there, and compares
// each of its attributes with all others. So the text goes in in small pieces, and the walk ends
// where the parser still waits for the end of a tag after some of them.
#include "device/gateway/xml_walk.h"

#include "device/gateway/xml_characters.h"

namespace
{

constexpr size_t piece_size = 4096;
constexpr size_t attributes_limit = 4096;
constexpr size_t waiting_limit = 2 * attributes_limit;

std::string_view view(const xmlChar *text)
{
    return text != nullptr ? reinterpret_cast<const char *>(text) : std::string_view{};
}

void take_step(xml_walk *walk, xml_step step)
{
    walk->step = step;
    if (step != xml_step_on)
        xmlStopParser(walk->parser.get());
}

size_t position(const xml_walk *walk)
{
    const long consumed = xmlByteConsumed(walk->parser.get());
    return consumed < 0 ? walk->text.size() : static_cast<size_t>(consumed);
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
                          locate(walk, view(prefix), element) == 0;
    take_step(walk, is_known ? walk->events->start(walk->context, walk) : xml_step_fail);
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
    if (walk->events->text != nullptr)
        take_step(walk, walk->events->text(walk->context, walk, piece));
}

// A message may not have one; so none of its entities are ever declared.
void on_document_type(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    take_step(static_cast<xml_walk *>(context), xml_step_fail);
}

int open_parser(xml_walk *walk)
{
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = on_start;
    handler.endElementNs = on_end;
    handler.characters = on_text;
    handler.ignorableWhitespace = on_text;
    handler.cdataBlock = on_text;
    handler.internalSubset = on_document_type;
    walk->parser.reset(xmlCreatePushParserCtxt(&handler, walk, nullptr, 0, nullptr));
    if (walk->parser == nullptr)
        return -1;
    // The depth is limited here, and of long texts only pieces are held.
    xmlCtxtUseOptions(walk->parser.get(),
                      XML_PARSE_NONET | XML_PARSE_NOENT | XML_PARSE_HUGE | XML_PARSE_IGNORE_ENC);
    walk->parser->charset = XML_CHAR_ENCODING_UTF8;
    return 0;
}

// True when the parser waits for the end of a tag that is too long.
bool waits_in_tag(const xml_walk *walk, size_t given)
{
    const size_t at = position(walk);
    return given > at && given - at > waiting_limit && walk->text[at] == '<' &&
           walk->text[at + 1] != '!' && walk->text[at + 1] != '?';
}

void skip_blanks(std::string_view *text)
{
    const size_t size = text->find_first_not_of(xml_blanks);
    text->remove_prefix(size == std::string_view::npos ? text->size() : size);
}

} // namespace

int xml_walk_run(xml_walk *walk, std::string_view text, const xml_events *events, void *context)
{
    walk->step = xml_step_on;
    walk->depth = 0;
    walk->space_count = 0;
    walk->text = text;
    walk->events = events;
    walk->context = context;
    if (open_parser(walk) != 0)
        return -1;
    size_t at = 0;
    while (at < text.size() && walk->step == xml_step_on) {
        const std::string_view piece = text.substr(at, piece_size);
        at += piece.size();
        xmlParseChunk(walk->parser.get(), piece.data(), static_cast<int>(piece.size()),
                      at == text.size());
        if (walk->step == xml_step_on && (!walk->parser->wellFormed || waits_in_tag(walk, at)))
            return -1;
    }
    const bool is_whole = walk->step == xml_step_on && at > 0 && walk->depth == 0;
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
