#include "device/gateway/xml_head.h"

#include <libxml/parser.h>
#include <string.h>
#include <utility>

#include "bounded.h"
#include "device/gateway/xml_reader.h"

namespace
{

constexpr char private_namespace[] = "com:quorvex:netconf:private:vesk:device:tarnd";

// A head that needs more than this is not one of those that matter here.
constexpr size_t head_size_limit = 65536;
constexpr size_t head_piece_size = 1024;

constexpr size_t unlimited = SIZE_MAX / 2;

// What the parser's callback fills in.
struct head_scan {
    xmlParserCtxt *parser;
    message_head head;
    bool is_request;
    unsigned elements; // seen so far: the root, then its first child
};

struct parser_deleter {
    void operator()(xmlParserCtxt *parser) const
    {
        xmlFreeParserCtxt(parser);
    }
};

bool equal(const xmlChar *left, const char *right)
{
    return left != nullptr && strcmp(reinterpret_cast<const char *>(left), right) == 0;
}

// attributes: count groups of name, prefix, namespace, value and its end.
malloc_ptr<char> find_message_id(const xmlChar **attributes, int count)
{
    for (; count > 0; --count, attributes += 5) {
        if (equal(attributes[0], "message-id") && attributes[2] == nullptr)
            return malloc_ptr<char>(strndup(reinterpret_cast<const char *>(attributes[3]),
                                            static_cast<size_t>(attributes[4] - attributes[3])));
    }
    return nullptr;
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
    if (!is_root || !is_relevant)
        xmlStopParser(scan->parser);
}

// A message may not have one; so none of its entities are ever declared.
void on_document_type(void *context, const xmlChar *, const xmlChar *, const xmlChar *)
{
    xmlStopParser(static_cast<head_scan *>(context)->parser);
}

bool append_text(byte_buffer *out, const char *text)
{
    return byte_buffer_append(out, text, strlen(text), unlimited) == buffer_ok;
}

const char *attribute_escape(char byte)
{
    switch (byte) {
    case '&':
        return "&amp;";
    case '<':
        return "&lt;";
    case '"':
        return "&quot;";
    case '\t':
        return "&#9;";
    case '\n':
        return "&#10;";
    case '\r':
        return "&#13;";
    default:
        return nullptr;
    }
}

bool append_escaped(byte_buffer *out, const char *value)
{
    for (; *value != 0; value++) {
        const char *escape = attribute_escape(*value);
        const buffer_result result =
            escape != nullptr ? byte_buffer_append(out, escape, strlen(escape), unlimited)
                              : byte_buffer_append(out, value, 1, unlimited);
        if (result != buffer_ok)
            return false;
    }
    return true;
}

bool append_reply_start(const char *message_id, byte_buffer *out)
{
    if (!append_text(out, "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\""))
        return false;
    if (message_id != nullptr && !(append_text(out, " message-id=\"") &&
                                   append_escaped(out, message_id) && append_text(out, "\"")))
        return false;
    return append_text(out, ">");
}

} // namespace

// The push parser tells of an element when its start tag is complete, so what
// is wrong farther on (a user name that is not escaped, for one) does not
// matter.
message_head message_head_read(const char *text, size_t size)
{
    head_scan scan{};
    xmlSAXHandler handler{};
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = on_element;
    handler.internalSubset = on_document_type;
    const std::unique_ptr<xmlParserCtxt, parser_deleter> parser(
        xmlCreatePushParserCtxt(&handler, &scan, nullptr, 0, nullptr));
    if (parser == nullptr)
        return {};
    scan.parser = parser.get();
    // Character references in attribute values are to be resolved.
    xmlCtxtUseOptions(parser.get(), XML_PARSE_NOENT | XML_PARSE_NONET);
    const size_t end = size < head_size_limit ? size : head_size_limit;
    for (size_t at = 0; at < end && scan.elements < 2; at += head_piece_size) {
        const size_t rest = end - at;
        const size_t piece = rest < head_piece_size ? rest : head_piece_size;
        if (xmlParseChunk(parser.get(), text + at, static_cast<int>(piece),
                          static_cast<int>(rest == piece)) != 0)
            break;
    }
    return std::move(scan.head);
}

void error_text_read(const char *text, size_t size, char *dest, size_t dest_size)
{
    strcpy_s(dest, dest_size, "");
    const size_t head_size = size < head_size_limit ? size : head_size_limit;
    const xml_reader reader = xml_reader_open(text, head_size);
    while (reader != nullptr && xml_reader_next_element(reader.get())) {
        const bool is_message =
            xml_reader_is(reader.get(), netconf_base_namespace, "error-message");
        if (!is_message && !xml_reader_is(reader.get(), netconf_base_namespace, "error-tag"))
            continue;
        xml_text owner;
        const char *found = xml_reader_trimmed_text(reader.get(), &owner);
        if (found != nullptr)
            strncpy_s(dest, dest_size, found, dest_size - 1);
        if (is_message)
            return;
    }
}

bool error_tag_is(const char *text, size_t size, const char *tag)
{
    const size_t head_size = size < head_size_limit ? size : head_size_limit;
    const xml_reader reader = xml_reader_open(text, head_size);
    while (reader != nullptr && xml_reader_next_element(reader.get())) {
        if (!xml_reader_is(reader.get(), netconf_base_namespace, "error-tag"))
            continue;
        xml_text owner;
        const char *found = xml_reader_trimmed_text(reader.get(), &owner);
        if (found != nullptr && strcmp(found, tag) == 0)
            return true;
    }
    return false;
}

bool session_reply_write(const char *message_id, uint32_t session_id, byte_buffer *out)
{
    char number[16];
    sprintf_s(number, sizeof number, "%u", static_cast<unsigned>(session_id));
    return append_reply_start(message_id, out) &&
           append_text(out, "<session-id xmlns=\""
                            "com:quorvex:netconf:private:vesk:device:tarnd\">") &&
           append_text(out, number) && append_text(out, "</session-id></rpc-reply>");
}

bool failure_reply_write(const char *message_id, const char *message, byte_buffer *out)
{
    return append_reply_start(message_id, out) &&
           append_text(out, "<rpc-error><error-type>application</error-type>"
                            "<error-tag>operation-failed</error-tag>"
                            "<error-severity>error</error-severity>"
                            "<error-message xml:lang=\"en\">") &&
           append_escaped(out, message) &&
           append_text(out, "</error-message></rpc-error></rpc-reply>");
}

void xml_start()
{
    xmlInitParser();
}
