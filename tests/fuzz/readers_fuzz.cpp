// What the gateway reads in messages, by a walk and from their heads, against
// documents that libxml2 makes of the same bytes.
//
// A reader may say more than a document of a text that is not well-formed, of
// which no document is made, or whose prefixes are not declared or declared as
// nothing; nothing is compared then.
#include <algorithm>
#include <memory>
#include <vector>

#include "device/gateway/xml_head.h"
#include "device/gateway/xml_walk.h"
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

std::vector<std::string> walked_attributes(const xml_element &element)
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

// The elements of a document in the order of their start tags, and how far the walk is.
struct walked_document {
    std::string message;
    std::vector<const xmlNode *> elements;
    size_t at = 0;
};

void collect_elements(const xmlNode *element, std::vector<const xmlNode *> *elements)
{
    elements->push_back(element);
    for (const xmlNode *child = next_element(element->children); child != nullptr;
         child = next_element(child->next))
        collect_elements(child, elements);
}

void check_element(const xml_element &walked, const xmlNode *element)
{
    fuzz_require_equal(std::string(walked.local), fuzz_xml_string(element->name), "its name");
    fuzz_require_equal(std::string(walked.uri), uri_of(element), "its namespace");
    if (is_literal(walked.attributes)) {
        const std::vector<std::string> got = walked_attributes(walked);
        fuzz_require(got == document_attributes(element), "its attributes");
    }
}

xml_step check_start(void *context, const xml_walk *walk)
{
    auto *document = static_cast<walked_document *>(context);
    const xml_element &element = walk->open[walk->depth - 1];
    const std::string_view text = document->message;
    fuzz_require(text[element.from] == '<' && text[element.content - 1] == '>', "a tag");
    if (!document->elements.empty()) {
        fuzz_require(document->at < document->elements.size(), "no element is made up");
        check_element(element, document->elements[document->at++]);
    }
    return xml_step_on;
}

xml_step check_end(void *context, const xml_walk *walk)
{
    const std::string_view text = static_cast<walked_document *>(context)->message;
    const xml_element &element = walk->open[walk->depth - 1];
    const size_t end = element.end;
    const bool is_empty = end == element.content && text.substr(end - 2, 2) == "/>";
    const size_t close = text.substr(0, end).rfind('<');
    const std::string tag = "</" + std::string(element.prefix) + std::string(element.local);
    fuzz_require(is_empty || text.substr(close, tag.size()) == tag, "an end after the beginning");
    return xml_step_on;
}

// Elements that stand too deep, and what many namespaces are declared for.
bool may_fail(const std::string &message)
{
    return std::count(message.begin(), message.end(), '<') > 256 ||
           std::count(message.begin(), message.end(), '=') > 256;
}

void check_walk(const std::string &message, const xmlNode *root)
{
    static const xml_events events = {check_start, nullptr, check_end};
    walked_document document;
    document.message = message;
    if (root != nullptr)
        collect_elements(root, &document.elements);
    const auto walk = std::make_unique<xml_walk>();
    const fuzz_block block = fuzz_bytes(message);
    const int result = xml_walk_run(walk.get(), {block.get(), message.size()}, &events, &document);
    if (root == nullptr)
        return;
    fuzz_require(result == 0 || may_fail(message), "a well-formed message is walked through");
    fuzz_require(result != 0 || document.at == document.elements.size(),
                 "no element is passed over");
}

message_kind kind_of(const xmlNode *root)
{
    const xmlNode *first = next_element(root->children);
    if (is_base(root, "rpc-reply"))
        return message_rpc_reply;
    if (uri_of(root) == NETCONF_NOTIFICATION_NAMESPACE &&
        fuzz_xml_string(root->name) == "notification")
        return message_notification;
    if (!is_base(root, "rpc") || first == nullptr)
        return message_other;
    const bool is_create =
        uri_of(first) == private_namespace && fuzz_xml_string(first->name) == "create-session";
    return is_create ? message_create_session : message_other;
}

void check_head(const std::string &message, const xmlNode *root)
{
    const fuzz_block block = fuzz_bytes(message);
    const message_head head = message_head_read({block.get(), message.size()});
    if (root == nullptr)
        return;
    fuzz_require(head.kind == kind_of(root), "the kind of the message");
    const xmlNode *first = next_element(root->children);
    const bool has_operation = is_base(root, "rpc") && first != nullptr &&
                               uri_of(first) == netconf_base_namespace &&
                               fuzz_xml_string(first->name).size() < message_operation_size;
    fuzz_require_equal(head.operation, has_operation ? fuzz_xml_string(first->name) : "",
                       "the operation of a request");
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

// The texts of the elements of this name, in their order; one that holds elements has none.
void collect_texts(const xmlNode *element, const char *name, std::vector<std::string> *texts)
{
    if (is_base(element, name) && next_element(element->children) == nullptr) {
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
    const std::string_view reply(block.get(), message.size());
    const report_text text = error_text_read(reply);
    const bool is_denied = error_has(reply, "error-tag", "access-denied");
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
        fuzz_require_equal(text.text, report_clean(messages[0].c_str()).text,
                           "the error's message");
    else if (messages.empty() && tags.size() == 1)
        fuzz_require_equal(text.text, report_clean(tags[0].c_str()).text,
                           "the error's tag in place of a message");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*words*/)
{
    xmlInitParser();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_message)
        return -1;
    fuzz_input input(data, size);
    input.byte(); // of no meaning; what is kept in the corpus has it
    const std::string message = input.rest();
    bool is_whole = message.find("xmlns:xml") == std::string::npos;
    const fuzz_document document = fuzz_xml_parse(message, &is_whole);
    const xmlNode *root = document ? xmlDocGetRootElement(document.get()) : nullptr;
    if (root != nullptr && (!is_whole || !has_namespaces(root)))
        root = nullptr;
    check_walk(message, root);
    check_head(message, root);
    check_head(message, root); // as it is known now
    check_errors(message, root);
    return 0;
}
