#include "device/gateway/xml_scan.h"

namespace
{

constexpr size_t attributes_limit = 4096;
constexpr std::string_view blanks = " \t\r\n";

enum tag_kind { tag_start, tag_empty, tag_end };

struct xml_tag {
    tag_kind kind;
    size_t from;
    std::string_view inner; // between the brackets, without the slash
};

bool fail(xml_scan *scan)
{
    scan->failed = true;
    return false;
}

bool begins(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

// Behind the '>' that ends the tag at from; npos: there is none.
size_t find_tag_end(std::string_view text, size_t from)
{
    size_t at = from;
    while (at < text.size() && text[at] != '>') {
        if (text[at] == '"' || text[at] == '\'')
            at = text.find(text[at], at + 1);
        if (at == std::string_view::npos)
            return at;
        at++;
    }
    return at < text.size() ? at + 1 : std::string_view::npos;
}

// What is no tag although it begins with '<'.
struct xml_aside {
    std::string_view opener;
    std::string_view closer;
};

constexpr xml_aside asides[] = {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}};

const xml_aside *aside_at(std::string_view text)
{
    for (const xml_aside &aside : asides) {
        if (begins(text, aside.opener))
            return &aside;
    }
    return nullptr;
}

// The next '<' that begins a tag; npos: there is none.
size_t find_tag(std::string_view text, size_t at)
{
    for (;;) {
        const size_t from = text.find('<', at);
        if (from == std::string_view::npos)
            return from;
        const xml_aside *aside = aside_at(text.substr(from));
        if (aside == nullptr)
            return from;
        at = text.find(aside->closer, from + aside->opener.size());
        if (at == std::string_view::npos)
            return at;
    }
}

bool next_tag(xml_scan *scan, xml_tag *tag)
{
    if (scan->failed)
        return false;
    const std::string_view text = scan->text;
    const size_t from = find_tag(text, scan->at);
    const size_t end = from == std::string_view::npos ? from : find_tag_end(text, from + 1);
    if (end == std::string_view::npos || text[from + 1] == '!')
        return fail(scan);
    scan->at = end;
    tag->kind = tag_start;
    tag->from = from;
    tag->inner = text.substr(from + 1, end - from - 2);
    if (begins(tag->inner, "/")) {
        tag->kind = tag_end;
        tag->inner.remove_prefix(1);
    } else if (!tag->inner.empty() && tag->inner.back() == '/') {
        tag->kind = tag_empty;
        tag->inner.remove_suffix(1);
    }
    return true;
}

// True when the attribute declares that prefix, which is given with its colon.
bool declares(std::string_view name, std::string_view prefix)
{
    constexpr std::string_view keyword = "xmlns";
    if (!begins(name, keyword))
        return false;
    name.remove_prefix(keyword.size());
    if (prefix.empty())
        return name.empty();
    prefix.remove_suffix(1);
    return begins(name, ":") && name.substr(1) == prefix;
}

bool resolve(xml_scan *scan, xml_element *element)
{
    const xml_element *parent = element->parent;
    if (parent != nullptr && element->attributes.empty() && element->prefix == parent->prefix) {
        element->uri = parent->uri; // what most elements come to, without a search
        return true;
    }
    if (!xml_namespace_find(element, element->prefix, &element->uri))
        return element->prefix.empty() || fail(scan);
    const bool plain = element->uri.find_first_of("&\"<\t\r\n") == std::string_view::npos;
    return plain || fail(scan);
}

bool read_element(xml_scan *scan, const xml_tag *tag, const xml_element *parent,
                  xml_element *element)
{
    *element = {};
    element->parent = parent;
    element->from = tag->from;
    element->content = scan->at;
    element->is_empty = tag->kind == tag_empty;
    const size_t blank = tag->inner.find_first_of(blanks);
    const size_t name_size = blank == std::string_view::npos ? tag->inner.size() : blank;
    element->local = tag->inner.substr(0, name_size);
    element->attributes = tag->inner.substr(name_size);
    const size_t colon = element->local.find(':');
    if (colon != std::string_view::npos) {
        element->prefix = element->local.substr(0, colon + 1);
        element->local.remove_prefix(colon + 1);
    }
    if (element->local.empty() || element->attributes.size() > attributes_limit)
        return fail(scan);
    return resolve(scan, element);
}

// Fails unless the end tag has the element's name.
bool check_end(xml_scan *scan, const xml_tag *tag, const xml_element *element)
{
    const std::string_view name = tag->inner.substr(0, tag->inner.find_first_of(blanks));
    const bool right = name.size() == element->prefix.size() + element->local.size() &&
                       begins(name, element->prefix) &&
                       name.substr(element->prefix.size()) == element->local;
    return right || fail(scan);
}

void skip_blanks(std::string_view *text)
{
    const size_t size = text->find_first_not_of(blanks);
    text->remove_prefix(size == std::string_view::npos ? text->size() : size);
}

} // namespace

bool xml_scan_root(xml_scan *scan, xml_element *root)
{
    xml_tag tag;
    if (!next_tag(scan, &tag))
        return false;
    return tag.kind == tag_end ? fail(scan) : read_element(scan, &tag, nullptr, root);
}

bool xml_scan_child(xml_scan *scan, const xml_element *parent, xml_element *child)
{
    xml_tag tag;
    if (parent->is_empty || !next_tag(scan, &tag))
        return false;
    if (tag.kind == tag_end) {
        check_end(scan, &tag, parent);
        return false;
    }
    return read_element(scan, &tag, parent, child);
}

size_t xml_scan_skip(xml_scan *scan, const xml_element *element)
{
    if (element->is_empty)
        return element->content;
    xml_tag tag{};
    for (size_t depth = 1; depth > 0 && next_tag(scan, &tag);) {
        if (tag.kind == tag_start)
            depth++;
        else if (tag.kind == tag_end)
            depth--;
    }
    check_end(scan, &tag, element);
    return tag.from;
}

bool xml_element_is(const xml_element *element, std::string_view uri, std::string_view local)
{
    return element->local == local && element->uri == uri;
}

bool xml_namespace_find(const xml_element *element, std::string_view prefix, std::string_view *uri)
{
    for (const xml_element *at = element; at != nullptr; at = at->parent) {
        std::string_view rest = at->attributes;
        xml_attribute attribute;
        while (xml_attribute_next(&rest, &attribute)) {
            if (!declares(attribute.name, prefix))
                continue;
            *uri = attribute.value;
            return true;
        }
    }
    return false;
}

bool xml_attribute_next(std::string_view *rest, xml_attribute *attribute)
{
    skip_blanks(rest);
    attribute->name = rest->substr(0, rest->find_first_of(" \t\r\n="));
    rest->remove_prefix(attribute->name.size());
    skip_blanks(rest);
    if (attribute->name.empty() || !begins(*rest, "="))
        return false;
    rest->remove_prefix(1);
    skip_blanks(rest);
    attribute->quote = rest->empty() ? '\0' : rest->front();
    if (attribute->quote != '"' && attribute->quote != '\'')
        return false;
    rest->remove_prefix(1);
    const size_t size = rest->find(attribute->quote);
    if (size == std::string_view::npos)
        return false;
    attribute->value = rest->substr(0, size);
    rest->remove_prefix(size + 1);
    return true;
}
