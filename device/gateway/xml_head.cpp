#include "device/gateway/xml_head.h"

#include <libxml/parser.h>
#include <string.h>
#include <utility>

#include "bounded.h"
#include "device/gateway/known_beginning.h"
#include "device/gateway/xml_walk.h"
#include "format/namespaces.h"

namespace
{

constexpr char private_namespace[] = TARND_NAMESPACE;

// A head that needs more than this is not one of those that matter here.
constexpr size_t head_size_limit = 65536;
constexpr size_t head_piece_size = 1024;

// What the parser's callback fills in.
struct head_scan {
    xmlParserCtxt *parser;
    std::string_view text;
    message_head head;
    bool is_request;
    unsigned elements; // seen so far: the root, then its first child
    size_t end;        // of what the head depends on; 0: all of the text
};

// So many heads are known: requests and replies take turns, and not all are alike.
constexpr size_t known_count = 8;

struct known_head {
    known_beginning beginning;
    message_head head; // without its id
};

bool equal(const xmlChar *left, const char *right)
{
    return left != nullptr && strcmp(reinterpret_cast<const char *>(left), right) == 0;
}

// attributes: count groups of name, prefix, namespace, value and its end.
malloc_ptr<char> find_message_id(const xmlChar **attributes, int count)
{
    for (; count > 0; count--, attributes += 5) {
        if (equal(attributes[0], "message-id") && attributes[1] == nullptr)
            return malloc_ptr<char>(strndup(reinterpret_cast<const char *>(attributes[3]),
                                            static_cast<size_t>(attributes[4] - attributes[3])));
    }
    return nullptr;
}

// Where the tag ends that was read; 0: it goes wrong farther on, or the parser does not know where
// it stands, because it converts the text.
size_t tag_end(const head_scan *scan)
{
    if (scan->parser->input->buf->encoder != nullptr)
        return 0;
    const auto at = static_cast<size_t>(xmlByteConsumed(scan->parser));
    const std::string_view rest = scan->text.substr(at);
    if (rest.starts_with("/>"))
        return at + 2;
    return rest.starts_with('>') ? at + 1 : 0;
}

void on_element(void *context, const xmlChar *name, const xmlChar *, const xmlChar *uri, int,
                const xmlChar **, int attribute_count, int, const xmlChar **attributes)
{
    auto *scan = static_cast<head_scan *>(context);
    const bool is_root = scan->elements++ == 0;
    if (is_root) {
        scan->is_request = equal(uri, netconf_base_namespace) && equal(name, "rpc");
        if (equal(uri, netconf_base_namespace) && equal(name, "rpc-reply"))
            scan->head.kind = message_rpc_reply;
        else if (equal(uri, NETCONF_NOTIFICATION_NAMESPACE) && equal(name, "notification"))
            scan->head.kind = message_notification;
        scan->head.message_id = find_message_id(attributes, attribute_count);
    } else if (scan->is_request) {
        if (equal(uri, private_namespace) && equal(name, "create-session"))
            scan->head.kind = message_create_session;
        else if (equal(uri, netconf_base_namespace) &&
                 strlen(reinterpret_cast<const char *>(name)) < message_operation_size)
            strcpy_s(scan->head.operation, message_operation_size,
                     reinterpret_cast<const char *>(name));
    } else {
        scan->head.is_error = equal(uri, netconf_base_namespace) && equal(name, "rpc-error");
    }
    const bool is_relevant = scan->is_request || scan->head.kind == message_rpc_reply;
    if (is_root && is_relevant)
        return;
    scan->end = tag_end(scan);
    xmlStopParser(scan->parser);
}

// A message may not have one; so none of its entities are ever declared.
void on_document_type(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    xmlStopParser(static_cast<head_scan *>(context)->parser);
}

// Null: no memory.
xml_parser make_parser(head_scan *scan)
{
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = on_element;
    handler.internalSubset = on_document_type;
    xml_parser parser(xmlCreatePushParserCtxt(&handler, scan, nullptr, 0, nullptr));
    // Character references in attribute values are to be resolved.
    if (parser != nullptr)
        xmlCtxtUseOptions(parser.get(), XML_PARSE_NOENT | XML_PARSE_NONET);
    return parser;
}

// The same head with another id; an empty one is none.
message_head with_id(const message_head *head, std::string_view id)
{
    message_head copy{head->kind, nullptr, {}, head->is_error};
    memcpy(copy.operation, head->operation, sizeof copy.operation);
    if (!id.empty())
        copy.message_id.reset(strndup(id.data(), id.size()));
    return copy;
}

// An element that is looked for among the errors of a reply.
struct error_finder {
    std::string_view name;
    std::string_view value;
    bool is_found;
};

xml_step find_error(void *context, const xml_walk *walk)
{
    auto *finder = static_cast<error_finder *>(context);
    finder->is_found = xml_is_base(&walk->open[walk->depth - 1], finder->name) &&
                       xml_walk_leaf(walk) == finder->value;
    return finder->is_found ? xml_step_end : xml_step_on;
}

xml_step read_error(void *context, const xml_walk *walk)
{
    const xml_element *element = &walk->open[walk->depth - 1];
    const bool is_message = xml_is_base(element, "error-message");
    const std::string_view text = xml_walk_leaf(walk);
    if (text.empty() || (!is_message && !xml_is_base(element, "error-tag")))
        return xml_step_on;
    *static_cast<report_text *>(context) = {};
    text.copy(static_cast<report_text *>(context)->text, report_text_size - 1);
    return is_message ? xml_step_end : xml_step_on;
}

} // namespace

// The push parser tells of an element when its start tag is complete, so what
// is wrong farther on (a user name that is not escaped, for one) does not
// matter.
message_head message_head_read(std::string_view message)
{
    static known_head known[known_count];
    static size_t oldest;
    const std::string_view text = message.substr(0, head_size_limit);
    for (const known_head &each : known) {
        if (known_beginning_is(&each.beginning, text))
            return with_id(&each.head, text.substr(each.beginning.id_from, each.beginning.id_size));
    }
    head_scan scan{};
    const xml_parser parser = make_parser(&scan);
    if (parser == nullptr)
        return {};
    scan.parser = parser.get();
    scan.text = text;
    for (size_t at = 0; at < text.size() && scan.elements < 2; at += head_piece_size) {
        const std::string_view piece = text.substr(at, head_piece_size);
        if (xmlParseChunk(parser.get(), piece.data(), static_cast<int>(piece.size()),
                          static_cast<int>(at + piece.size() == text.size())) != 0)
            break;
    }
    if (scan.end > 0) {
        known_head *place = &known[oldest++ % known_count];
        place->head = with_id(&scan.head, {});
        known_beginning_keep(&place->beginning, text.substr(0, scan.end));
    }
    return std::move(scan.head);
}

bool message_asks(const message_head *head, std::string_view operation)
{
    return head->operation == operation;
}

report_text error_text_read(std::string_view reply)
{
    static const xml_events events = {nullptr, nullptr, read_error};
    report_text found{};
    xml_read(reply.substr(0, head_size_limit), &events, &found);
    return report_clean(found.text);
}

bool error_has(std::string_view reply, std::string_view name, std::string_view value)
{
    static const xml_events events = {nullptr, nullptr, find_error};
    error_finder finder{name, value, false};
    xml_read(reply.substr(0, head_size_limit), &events, &finder);
    return finder.is_found;
}

bool error_is_warning(std::string_view reply)
{
    return error_has(reply, "error-severity", "warning") &&
           !error_has(reply, "error-severity", "error");
}
