#include "link/xml_root.h"

#include <libxml/parser.h>
#include <limits.h>
#include <memory>

#include "link/xml_memory.h"
#include "link/xpath.h"

namespace
{

struct parser_deleter {
    void operator()(xmlParserCtxt *parser) const noexcept
    {
        xmlFreeParserCtxt(parser);
    }
};
using xml_parser = std::unique_ptr<xmlParserCtxt, parser_deleter>;

struct wanted_root {
    const xmlChar *name;
    const xmlChar *name_space;
    bool has_begun;
    bool is_it;
};

void take_root(void *context, const xmlChar *name, const xmlChar *, const xmlChar *name_space, int,
               const xmlChar **, int, int, const xmlChar **)
{
    auto *wanted = static_cast<wanted_root *>(static_cast<xmlParserCtxt *>(context)->_private);
    if (!wanted->has_begun)
        wanted->is_it = xmlStrEqual(name, wanted->name) != 0 &&
                        xmlStrEqual(name_space, wanted->name_space) != 0;
    wanted->has_begun = true;
}

void pass_end(void *, const xmlChar *, const xmlChar *, const xmlChar *) {}

void pass_text(void *, const xmlChar *, int) {}

void pass_one(void *, const xmlChar *) {}

void pass_two(void *, const xmlChar *, const xmlChar *) {}

// The parser's own handlers stay where they keep what it needs to know itself:
// the declaration of the document, and what is declared inside it. The others
// pass, for where there is none at all, the parser looks less closely.
void keep_no_content(xmlSAXHandler *handlers)
{
    handlers->startElementNs = take_root;
    handlers->endElementNs = pass_end;
    handlers->characters = pass_text;
    handlers->cdataBlock = pass_text;
    handlers->comment = pass_one;
    handlers->processingInstruction = pass_two;
    handlers->reference = pass_one;
}

} // namespace

xml_root_result xml_root_find(const char *text, size_t length, const char *name,
                              const char *name_space)
{
    if (length > INT_MAX)
        return xml_root_unknown;
    xml_memory_watch();
    const xml_parser parser(xmlNewParserCtxt());
    if (!parser)
        return xml_root_unknown;
    wanted_root wanted = {reinterpret_cast<const xmlChar *>(name),
                          reinterpret_cast<const xmlChar *>(name_space), false, false};
    parser->_private = &wanted;
    keep_no_content(parser->sax);
    const xml_doc empty(xmlCtxtReadMemory(parser.get(), text, static_cast<int>(length), nullptr,
                                          "utf-8", XML_PARSE_NOBLANKS));
    if (!empty || xml_memory_ran_out())
        return xml_root_unknown;
    return wanted.is_it ? xml_root_is_it : xml_root_is_other;
}
