// A server's message through the filter that makes it compact: whole and in
// pieces alike, never changing what the message means to a parser.
//
// Input: a byte (the size of the pieces), the message.
#include "device/gateway/blank_filter.h"

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_xml.h"

namespace
{

enum blank_rule { blanks_are_dropped, blanks_are_kept };

bool is_blank(const std::string &text)
{
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

bool is_text(const xmlNode *node)
{
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

bool has_element(const xmlNode *first)
{
    for (const xmlNode *node = first; node != nullptr; node = node->next) {
        if (node->type == XML_ELEMENT_NODE)
            return true;
    }
    return false;
}

bool begins_control(const std::string &text, size_t at)
{
    const auto second = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : 0);
    return text[at] == '\x7f' || (text[at] == '\xc2' && second >= 0x80 && second < 0xa0);
}

// What a control may grow to.
constexpr size_t longest_reference = sizeof "]]>&#x9B;<![CDATA[" - 1;

size_t longest_result(const std::string &message)
{
    size_t size = message.size();
    for (size_t at = 0; at < message.size(); at++)
        size += begins_control(message, at) ? longest_reference : 0;
    return size;
}

// In comments and instructions the text that shows a control is not resolved.
std::string shown_aside(const std::string &content)
{
    std::string shown;
    for (size_t at = 0; at < content.size(); at++) {
        if (!begins_control(content, at)) {
            shown += content[at];
            continue;
        }
        at += content[at] == '\x7f' ? 0 : 1;
        const char *digits = "0123456789ABCDEF";
        const auto code = static_cast<unsigned char>(content[at]);
        shown += std::string("&#x") + digits[code >> 4] + digits[code & 15] + ";";
    }
    return shown;
}

std::string attributes_of(const xmlNode *element)
{
    std::string shown;
    for (const xmlNs *space = element->nsDef; space != nullptr; space = space->next)
        shown += " xmlns:" + fuzz_xml_string(space->prefix) + "=" + fuzz_xml_string(space->href);
    for (xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        xmlChar *value = xmlNodeGetContent(reinterpret_cast<xmlNode *>(attribute));
        shown += " " + fuzz_xml_string(attribute->ns != nullptr ? attribute->ns->href : nullptr) +
                 ":" + fuzz_xml_string(attribute->name) + "=" + fuzz_xml_string(value);
        xmlFree(value);
    }
    return shown;
}

std::string shown_children(const xmlNode *first, blank_rule rule);

std::string shown_node(const xmlNode *node, blank_rule rule)
{
    switch (node->type) {
    case XML_ELEMENT_NODE:
        return "<" + fuzz_xml_string(node->ns != nullptr ? node->ns->href : nullptr) + ":" +
               fuzz_xml_string(node->name) + attributes_of(node) + ">" +
               shown_children(node->children, rule) + "</>";
    case XML_COMMENT_NODE:
        return "<!--" + shown_aside(fuzz_xml_string(node->content)) + "-->";
    case XML_PI_NODE:
        return "<?" + fuzz_xml_string(node->name) + " " +
               shown_aside(fuzz_xml_string(node->content)) + "?>";
    default:
        return fuzz_xml_string(node->content);
    }
}

// What stands between two tags: all of it, or without its blanks when there is
// nothing else than blanks and asides.
std::string shown_interval(const xmlNode **node, bool is_leaf, blank_rule rule)
{
    std::string all;
    std::string asides;
    bool has_text = is_leaf || rule == blanks_are_kept;
    for (; *node != nullptr && (*node)->type != XML_ELEMENT_NODE; *node = (*node)->next) {
        const std::string shown = shown_node(*node, rule);
        all += shown;
        asides += is_text(*node) ? "" : shown;
        has_text = has_text || (*node)->type == XML_CDATA_SECTION_NODE ||
                   (is_text(*node) && !is_blank(shown));
    }
    return has_text ? all : asides;
}

std::string shown_children(const xmlNode *first, blank_rule rule)
{
    const bool is_leaf = !has_element(first);
    std::string shown;
    for (const xmlNode *node = first; node != nullptr;) {
        shown += shown_interval(&node, is_leaf, rule);
        if (node != nullptr) {
            shown += shown_node(node, rule);
            node = node->next;
        }
    }
    return shown;
}

// *fault: empty, or why it does not pass.
std::string filtered(const std::string &message, size_t piece, std::string *fault)
{
    blank_filter filter = {};
    byte_buffer out = {};
    for (size_t from = 0; from < message.size() && fault->empty(); from += piece) {
        const std::string bytes = message.substr(from, piece);
        const char *found = blank_filter_feed(&filter, fuzz_bytes(bytes).get(), bytes.size(), &out,
                                              longest_result(message) + 1);
        *fault = found != nullptr ? found : "";
    }
    if (fault->empty() && blank_filter_end(&filter, &out) != 0)
        *fault = "the server sent something that is not XML";
    return fault->empty() ? std::string(out.data.get(), out.size) : "";
}

void check_meaning(const std::string &message, const std::string &compact, bool passes)
{
    const fuzz_document before = fuzz_xml_parse(message);
    // A reference to a blank is no blank to the filter, but to the parser.
    if (!before || message.find('&') != std::string::npos)
        return;
    fuzz_require(passes, "a well-formed message passes");
    const fuzz_document after = fuzz_xml_parse(compact);
    fuzz_require(after != nullptr, "a compact message is well-formed");
    fuzz_require_equal(shown_children(after->children, blanks_are_kept),
                       shown_children(before->children, blanks_are_dropped),
                       "a compact message means the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const size_t piece = input.byte() + 1;
    const std::string message = input.rest();
    std::string whole;
    std::string pieces;
    std::string twice;
    const std::string compact = filtered(message, message.size() + 1, &whole);
    fuzz_require_equal(filtered(message, piece, &pieces), compact, "the same in pieces");
    fuzz_require(pieces == whole, "the same verdict in pieces");
    if (whole.empty()) {
        fuzz_require(compact.size() <= longest_result(message), "only references are added");
        fuzz_require_equal(filtered(compact, piece, &twice), compact,
                           "a compact message stays as it is");
    }
    check_meaning(message, compact, whole.empty());
    return 0;
}
