#include "link/xml_root.h"

#include <libxml/parserInternals.h>
#include <limits.h>
#include <memory>
#include <string_view>

#include "base/log.h"
#include "base/text.h"
#include "format/namespaces.h"
#include "link/xml_library.h"
#include "link/xml_memory.h"
#include "link/xml_plain.h"
#include "link/xpath.h"
#include "scrub.h"

namespace
{

constexpr int text_limit = XML_MAX_TEXT_LENGTH;

using xml_parser = std::unique_ptr<xmlParserCtxt, xml_deleter<&xml_functions::free_parser_ctxt>>;

// What one pass over a message looks for, and what it meets.
struct root_search {
    const xmlChar *name;
    const xmlChar *name_space;
    bool has_begun;
    bool matches;
    bool needs_document;
    int text_length; // bytes since the last tag
};

root_search *search_of(void *parser)
{
    return static_cast<root_search *>(static_cast<xmlParserCtxt *>(parser)->_private);
}

void leave_to_document(void *parser)
{
    search_of(parser)->needs_document = true;
    libxml2.stop_parser(static_cast<xmlParserCtxt *>(parser));
}

// Without nodes, an entity would be parsed again at each of its references.
void meet_document_type(void *parser, const xmlChar *, const xmlChar *, const xmlChar *)
{
    leave_to_document(parser);
}

void begin_element(void *parser, const xmlChar *name, const xmlChar *, const xmlChar *name_space,
                   int, const xmlChar **, int, int, const xmlChar **)
{
    root_search *search = search_of(parser);
    if (!search->has_begun)
        search->matches = libxml2.str_equal(name, search->name) != 0 &&
                          libxml2.str_equal(name_space, search->name_space) != 0;
    search->has_begun = true;
    search->text_length = 0;
}

void end_element(void *parser, const xmlChar *, const xmlChar *, const xmlChar *)
{
    search_of(parser)->text_length = 0;
}

// The first piece of a text may have any length in a document, too.
void pass_text(void *parser, const xmlChar *, int length)
{
    root_search *search = search_of(parser);
    if (search->text_length > 0 && length > text_limit - search->text_length)
        leave_to_document(parser);
    else
        search->text_length += length;
}

void pass_comment(void *, const xmlChar *) {}

void pass_instruction(void *, const xmlChar *, const xmlChar *) {}

// Handlers that do nothing, not null ones: where there is none, the parser skips
// checks, too.
void keep_no_content(xmlSAXHandler *handlers)
{
    handlers->internalSubset = meet_document_type;
    handlers->startElementNs = begin_element;
    handlers->endElementNs = end_element;
    handlers->characters = pass_text;
    handlers->cdataBlock = pass_text;
    handlers->comment = pass_comment;
    handlers->processingInstruction = pass_instruction;
}

xml_root_result root_of_document(const char *text, size_t length, const root_search &search)
{
    const xml_doc document = xml_parse(text, length);
    if (xml_memory_ran_out())
        return xml_root_unread;
    const xmlNode *root = document ? libxml2.doc_get_root_element(document.get()) : nullptr;
    if (root == nullptr)
        return xml_root_unreadable;
    const bool matches = root->ns != nullptr && libxml2.str_equal(root->name, search.name) != 0 &&
                         libxml2.str_equal(root->ns->href, search.name_space) != 0;
    return matches ? xml_root_matches : xml_root_differs;
}

// Whether the first tag is that of a notification, whatever comes after it. One that is
// taken for a reply answers what was asked last, and so does each reply the question after
// its own.
bool begins_as_notification(std::string_view text)
{
    size_t at = text.find('<');
    while (text_starts_with(text_slice(text, at), "<?") ||
           text_starts_with(text_slice(text, at), "<!"))
        at = text.find('<', at + 1);
    const std::string_view tag = text_slice(text, at, text.find('>', at) - at);
    const std::string_view name = text_slice(tag, 0, tag.find_first_of(" \t\r\n/"));
    const size_t colon = name.find(':');
    return text_slice(name, colon == std::string_view::npos ? 1 : colon + 1) == "notification" &&
           tag.find(NETCONF_NOTIFICATION_NAMESPACE) != std::string_view::npos;
}

} // namespace

xml_root_result xml_root_find(const char *text, size_t length, const char *name,
                              const char *name_space)
{
    if (length > INT_MAX)
        return xml_root_unreadable;
    const xml_look look = xml_look_at(text, length, name);
    if (look == xml_look_plain) // nearly every reply, in a fraction of the time
        return xml_root_differs;
    if (look == xml_look_refused)
        return xml_root_unreadable;
    if (xml_ready() != 0)
        return xml_root_unread;
    xml_memory_watch();
    scrub_registers();
    xml_parser parser(libxml2.new_parser_ctxt());
    if (!parser)
        return xml_root_unread;
    root_search search = {reinterpret_cast<const xmlChar *>(name),
                          reinterpret_cast<const xmlChar *>(name_space),
                          false,
                          false,
                          false,
                          0};
    parser->_private = &search;
    keep_no_content(parser->sax);
    const xml_doc empty(libxml2.ctxt_read_memory(parser.get(), text, static_cast<int>(length),
                                                 nullptr, "utf-8", XML_PARSE_NOBLANKS));
    parser.reset(); // it holds copies of the text
    if (search.needs_document)
        return root_of_document(text, length, search);
    if (xml_memory_ran_out())
        return xml_root_unread;
    if (!empty)
        return xml_root_unreadable;
    return search.matches ? xml_root_matches : xml_root_differs;
}

int is_notification(const char *message, size_t length)
{
    const xml_root_result root =
        xml_root_find(message, length, "notification", NETCONF_NOTIFICATION_NAMESPACE);
    if (root == xml_root_unreadable || root == xml_root_unread)
        log_debug("[DEBUG] parse xml err.\n");
    if (root == xml_root_unread)
        return begins_as_notification({message, length}) ? 1 : 0;
    return root == xml_root_matches ? 1 : 0;
}
