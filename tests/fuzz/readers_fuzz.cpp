// What the gateway reads in messages, by a scan and from their heads, against
// documents that libxml2 makes of the same bytes.
//
// A reader may say more than a document of a text that is not well-formed, of
// which no document is made, or whose prefixes are not declared; nothing is
// compared then.
#include <algorithm>
#include <vector>

#include "device/gateway/xml_head.h"
#include "device/gateway/xml_reader.h"
#include "device/gateway/xml_scan.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_xml.h"

namespace
{

constexpr size_t longest_message = 4000; // below the limits of all readers

const char private_namespace[] = "com:quorvex:netconf:private:vesk:device:tarnd";

std::string uri_of(const xmlNode *element)
{
    return element->ns != nullptr ? fuzz_xml_string(element->ns->href) : "";
}

bool is_base(const xmlNode *element, const char *name)
{
    return element != nullptr && uri_of(element) == netconf_base_namespace &&
           fuzz_xml_string(element->name) == name;
}

const xmlNode *next_element(const xmlNode *node)
{
    while (node != nullptr && node->type != XML_ELEMENT_NODE)
        node = node->next;
    return node;
}

// False where a prefix has no namespace: the name then keeps its colon.
bool has_namespaces(const xmlNode *element)
{
    if (strchr(reinterpret_cast<const char *>(element->name), ':') != nullptr)
        return false;
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (strchr(reinterpret_cast<const char *>(attribute->name), ':') != nullptr)
            return false;
    }
    for (const xmlNs *space = element->nsDef; space != nullptr; space = space->next) {
        if (space->prefix != nullptr && fuzz_xml_string(space->href).empty())
            return false;
    }
    for (const xmlNode *child = next_element(element->children); child != nullptr;
         child = next_element(child->next)) {
        if (!has_namespaces(child))
            return false;
    }
    return true;
}

// What a parser leaves as it is written.
bool is_literal(std::string_view value)
{
    return value.find_first_of("&\t\r\n<") == std::string_view::npos;
}

// "name=value" of each attribute, a value as far as it is literal.
std::vector<std::string> sorted(std::vector<std::string> attributes)
{
    std::sort(attributes.begin(), attributes.end());
    return attributes;
}

std::vector<std::string> scanned_attributes(const xml_element &element)
{
    std::vector<std::string> found;
    std::string_view rest = element.attributes;
    xml_attribute attribute;
    while (xml_attribute_next(&rest, &attribute))
        found.push_back(std::string(attribute.name) + "=" + std::string(attribute.value));
    return sorted(found);
}

std::vector<std::string> document_attributes(const xmlNode *element)
{
    std::vector<std::string> found;
    for (const xmlNs *space = element->nsDef; space != nullptr; space = space->next) {
        const std::string prefix = fuzz_xml_string(space->prefix);
        found.push_back("xmlns" + (prefix.empty() ? "" : ":" + prefix) + "=" +
                        fuzz_xml_string(space->href));
    }
    for (xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        xmlChar *value = xmlNodeGetContent(reinterpret_cast<xmlNode *>(attribute));
        const std::string prefix =
            attribute->ns != nullptr ? fuzz_xml_string(attribute->ns->prefix) : "";
        found.push_back(prefix + (prefix.empty() ? "" : ":") + fuzz_xml_string(attribute->name) +
                        "=" + fuzz_xml_string(value));
        xmlFree(value);
    }
    return sorted(found);
}

void check_element(const xml_element &scanned, const xmlNode *element)
{
    fuzz_require(element != nullptr, "no element is made up");
    fuzz_require_equal(std::string(scanned.local), fuzz_xml_string(element->name), "its name");
    fuzz_require_equal(std::string(scanned.uri), uri_of(element), "its namespace");
    if (is_literal(scanned.attributes)) {
        const std::vector<std::string> got = scanned_attributes(scanned);
        fuzz_require(got == document_attributes(element), "its attributes");
    }
}

void check_text(std::string_view text, const xmlNode *element)
{
    if (text.find_first_of("<&\r") == std::string_view::npos) {
        xmlChar *content = xmlNodeGetContent(element);
        fuzz_require_equal(std::string(text), fuzz_xml_string(content), "its text");
        xmlFree(content);
    }
}

// Walks through the element behind whose start tag the scan stands; every other
// level is skipped instead, when the input says so.
void check_children(xml_scan *scan, const xml_element &parent, const xmlNode *node, bool skips)
{
    const xmlNode *wanted = next_element(node->children);
    xml_element child;
    while (xml_scan_child(scan, &parent, &child)) {
        check_element(child, wanted);
        if (skips || child.is_empty) {
            const size_t end = xml_scan_skip(scan, &child);
            if (scan->failed)
                return;
            fuzz_require(end >= child.content && end <= scan->at, "an end behind the beginning");
            check_text(scan->text.substr(child.content, end - child.content), wanted);
        } else {
            check_children(scan, child, wanted, !skips);
            if (scan->failed)
                return;
        }
        wanted = next_element(wanted->next);
    }
    fuzz_require(scan->failed || wanted == nullptr, "no element is passed over");
}

// What has to be interpreted first is left to others.
bool may_fail(const std::string &message)
{
    return message.find_first_of("&'\t\r\n") != std::string::npos ||
           message.find("xml:") != std::string::npos;
}

void check_scan(const std::string &message, const xmlNode *root, bool skips)
{
    const fuzz_block block = fuzz_bytes(message);
    xml_scan scan = {{block.get(), message.size()}, 0, false};
    xml_element scanned;
    const bool is_found = xml_scan_root(&scan, &scanned);
    fuzz_require(is_found == !scan.failed, "a root or a failure");
    if (root == nullptr)
        return;
    if (is_found) {
        check_element(scanned, root);
        check_children(&scan, scanned, root, skips);
    }
    fuzz_require(!scan.failed || may_fail(message), "a well-formed message is walked through");
}

message_kind kind_of(const xmlNode *root)
{
    const xmlNode *first = next_element(root->children);
    if (is_base(root, "rpc-reply"))
        return message_rpc_reply;
    if (!is_base(root, "rpc") || first == nullptr)
        return message_other;
    if (is_base(first, "copy-config"))
        return message_copy_config;
    const bool is_create =
        uri_of(first) == private_namespace && fuzz_xml_string(first->name) == "create-session";
    return is_create ? message_create_session : message_other;
}

void check_head(const std::string &message, const xmlNode *root)
{
    const fuzz_block block = fuzz_bytes(message);
    const message_head head = message_head_read(block.get(), message.size());
    if (root == nullptr)
        return;
    fuzz_require(head.kind == kind_of(root), "the kind of the message");
    if (head.kind == message_other)
        return;
    xmlChar *id = xmlGetNoNsProp(root, reinterpret_cast<const xmlChar *>("message-id"));
    fuzz_require((head.message_id != nullptr) == (id != nullptr), "an id where there is one");
    fuzz_require_equal(id != nullptr ? head.message_id.get() : "", fuzz_xml_string(id),
                       "the message's id");
    xmlFree(id);
    fuzz_require(head.is_error == (head.kind == message_rpc_reply &&
                                   is_base(next_element(root->children), "rpc-error")),
                 "an error where there is one");
}

std::string trimmed(const std::string &text)
{
    const size_t from = text.find_first_not_of(" \t\r\n");
    const size_t last = text.find_last_not_of(" \t\r\n");
    return from == std::string::npos ? "" : text.substr(from, last + 1 - from);
}

// The texts of the elements of this name, in their order.
void collect_texts(const xmlNode *element, const char *name, std::vector<std::string> *texts)
{
    if (is_base(element, name)) {
        xmlChar *content = xmlNodeGetContent(element);
        texts->push_back(trimmed(fuzz_xml_string(content)));
        xmlFree(content);
    }
    for (const xmlNode *child = next_element(element->children); child != nullptr;
         child = next_element(child->next))
        collect_texts(child, name, texts);
}

void check_errors(const std::string &message, const xmlNode *root)
{
    const fuzz_block block = fuzz_bytes(message);
    char text[longest_message + 1];
    error_text_read(block.get(), message.size(), text, sizeof text);
    const bool is_denied = error_tag_is(block.get(), message.size(), "access-denied");
    // Asides inside a text are no text to the one, but have content to the other.
    if (root == nullptr || message.find("<!") != std::string::npos ||
        message.find("<?") != std::string::npos)
        return;
    std::vector<std::string> messages;
    std::vector<std::string> tags;
    collect_texts(root, "error-message", &messages);
    collect_texts(root, "error-tag", &tags);
    fuzz_require(is_denied == (std::count(tags.begin(), tags.end(), "access-denied") > 0),
                 "the error's tag");
    if (!messages.empty() && !messages[0].empty())
        fuzz_require_equal(text, messages[0], "the error's message");
    else if (messages.empty() && tags.size() == 1)
        fuzz_require_equal(text, tags[0], "the error's tag in place of a message");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*words*/)
{
    xml_start();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_message)
        return -1;
    fuzz_input input(data, size);
    const bool skips = input.byte() % 2 == 1;
    const std::string message = input.rest();
    const fuzz_document document = fuzz_xml_parse(message);
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root != nullptr && !has_namespaces(root))
        root = nullptr;
    check_scan(message, root, skips);
    check_head(message, root);
    check_errors(message, root);
    return 0;
}
