// What is read is known to be well-formed, so that a name ends where something else
// begins, a value at its quote, and an element at the end tag on its level. What the
// parser does to texts and namespaces is done to few of them: where there is an entity,
// a carriage return, white space that it might drop, or an odd declaration, a document
// has to tell. tests/fuzz/select_fuzz holds the two against each other.
#include "link/xml_select.h"

#include "base/text.h"
#include "format/namespaces.h"

namespace
{

struct start_tag {
    std::string_view prefix;
    std::string_view name;
    bool is_empty;
};

bool is_blank(char byte)
{
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

void skip_blanks(std::string_view *rest)
{
    while (is_blank(rest->front()))
        rest->remove_prefix(1);
}

// Takes the name at the start of a tag, after its bracket.
std::string_view take_name(std::string_view *rest)
{
    size_t length = 0;
    while (!is_blank((*rest)[length]) && (*rest)[length] != '/' && (*rest)[length] != '>')
        length++;
    const std::string_view name = text_slice(*rest, 0, length);
    rest->remove_prefix(length);
    return name;
}

// Splits a name at its colon into prefix, empty for none, and local name.
void split_name(std::string_view name, std::string_view *prefix, std::string_view *local)
{
    const bool has_prefix = name.find(':') != std::string_view::npos;
    *prefix = has_prefix ? text_take(&name, ':') : std::string_view();
    *local = name;
}

// Whether the parser takes a declaration as it stands.
bool is_usual(const xml_declaration &declared)
{
    for (const char byte : declared.name_space) {
        if (is_blank(byte))
            return false;
    }
    return (!declared.name_space.empty() || declared.prefix.empty()) &&
           !text_starts_with(declared.prefix, "xml") &&
           !text_starts_with(declared.name_space, "http://www.w3.org/");
}

// Keeps an attribute that is a declaration; false when it is none to rely on.
bool declare(xml_selection *selection, std::string_view attribute, std::string_view value)
{
    if (attribute != "xmlns" && !text_starts_with(attribute, "xmlns:"))
        return true;
    const xml_declaration declared = {text_slice(attribute, 6), value, selection->depth + 1};
    if (selection->declarations == select_limit || !is_usual(declared))
        return false;
    selection->declared[selection->declarations] = declared;
    selection->declarations++;
    return true;
}

// Forgets what was declared in elements that are not those of the path.
void forget_declarations(xml_selection *selection)
{
    size_t *count = &selection->declarations;
    while (*count > 0 && selection->declared[*count - 1].depth > selection->matched)
        (*count)--;
}

// Takes a start tag after its bracket, and keeps what it declares if that `counts`;
// false when that is not to be relied on.
bool take_start(xml_selection *selection, bool counts, start_tag *tag)
{
    std::string_view *rest = &selection->rest;
    split_name(take_name(rest), &tag->prefix, &tag->name);
    for (skip_blanks(rest); rest->front() != '/' && rest->front() != '>'; skip_blanks(rest)) {
        const std::string_view attribute = text_take(rest, '=');
        const char quote = rest->front();
        rest->remove_prefix(1);
        const std::string_view value = text_take(rest, quote);
        if (counts && !declare(selection, attribute, value))
            return false;
    }
    tag->is_empty = rest->front() == '/';
    rest->remove_prefix(tag->is_empty ? 2 : 1);
    return true;
}

// The namespace of a prefix, empty for none; false for a prefix that is not declared.
bool find_namespace(const xml_selection &selection, std::string_view prefix,
                    std::string_view *name_space)
{
    for (size_t i = selection.declarations; i > 0; i--) {
        if (selection.declared[i - 1].prefix == prefix) {
            *name_space = selection.declared[i - 1].name_space;
            return true;
        }
    }
    *name_space = {};
    return prefix.empty();
}

// Takes the text of a leaf and its end tag; false when a document has to tell. Texts are
// short: searching for each character would take longer.
bool take_leaf_text(std::string_view *rest, std::string_view *text)
{
    size_t length = 0;
    bool is_usual = !is_blank(rest->front());
    for (; (*rest)[length] != '<'; length++)
        is_usual = is_usual && (*rest)[length] != '&' && (*rest)[length] != '\r';
    *text = text_slice(*rest, 0, length);
    rest->remove_prefix(length + 1);
    if (!is_usual || rest->front() != '/')
        return false;
    text_take(rest, '>');
    return true;
}

// Takes the leaves in an element, and its end tag; as xml_select_next.
xml_select_result take_record(xml_selection *selection, xml_record *record)
{
    std::string_view *rest = &selection->rest;
    for (;;) {
        if (rest->front() != '<')
            return xml_select_unknown;
        rest->remove_prefix(1);
        if (rest->front() == '/') {
            text_take(rest, '>');
            return xml_select_found;
        }
        start_tag tag = {};
        xml_leaf leaf = {};
        take_start(selection, false, &tag);
        if (!tag.prefix.empty() || record->count == select_limit ||
            (!tag.is_empty && !take_leaf_text(rest, &leaf.text)))
            return xml_select_unknown;
        leaf.name = tag.name;
        record->leaf[record->count] = leaf;
        record->count++;
    }
}

void leave_element(xml_selection *selection)
{
    if (selection->depth == selection->matched)
        selection->matched--;
    selection->depth--;
    forget_declarations(selection);
}

void enter_element(xml_selection *selection, const start_tag &tag, bool matches)
{
    if (!tag.is_empty) {
        selection->depth++;
        selection->matched += matches ? 1 : 0;
    }
    forget_declarations(selection);
}

std::string_view namespace_of(std::string_view prefix, const ns_list &namespaces)
{
    for (const ns_entry *entry = namespaces.first; entry != nullptr; entry = entry->next) {
        if (entry->prefix == prefix)
            return entry->uri;
    }
    return NETCONF_BASE_NAMESPACE;
}

} // namespace

bool xml_select_begin(xml_selection *selection, std::string_view text, std::string_view expression,
                      const ns_list &namespaces)
{
    selection->depth = selection->matched = selection->declarations = selection->steps = 0;
    selection->rest = text_slice(text, text_starts_with(text, "<?") ? text.find("?>") : 0);
    if (expression.find('[') != std::string_view::npos)
        return false;
    text_take(&expression, '/');
    while (!expression.empty()) {
        if (selection->steps == select_limit)
            return false;
        xml_step *step = &selection->step[selection->steps];
        std::string_view prefix;
        split_name(text_take(&expression, '/'), &prefix, &step->name);
        step->name_space = namespace_of(prefix, namespaces);
        selection->steps++;
    }
    return true;
}

xml_select_result xml_select_next(xml_selection *selection, xml_record *record)
{
    record->count = 0;
    for (;;) {
        text_take(&selection->rest, '<');
        if (selection->rest.empty())
            return xml_select_end;
        if (selection->rest.front() == '/') {
            leave_element(selection);
            continue;
        }
        start_tag tag = {};
        std::string_view name_space;
        const bool may_match = selection->depth == selection->matched;
        if (!take_start(selection, may_match, &tag) ||
            (may_match && !find_namespace(*selection, tag.prefix, &name_space)))
            return xml_select_unknown;
        const xml_step &step = selection->step[selection->matched];
        const bool matches = may_match && tag.name == step.name && name_space == step.name_space;
        if (matches && selection->matched + 1 == selection->steps) {
            forget_declarations(selection);
            return tag.is_empty ? xml_select_found : take_record(selection, record);
        }
        enter_element(selection, tag, matches);
    }
}
