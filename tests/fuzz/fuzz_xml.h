// XML as a parser sees it, for comparing what texts mean.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <memory>
#include <string>

struct fuzz_document_free {
    void operator()(xmlDoc *document) const
    {
        xmlFreeDoc(document);
    }
};

using fuzz_document = std::unique_ptr<xmlDoc, fuzz_document_free>;

// context: a bool that says whether all declarations are in the document, or null.
inline void fuzz_xml_note(void *context, xmlError *error)
{
    if (context != nullptr && error->code == XML_NS_ERR_XML_NAMESPACE)
        *static_cast<bool *>(context) = false;
}

// Null for what is not well-formed, and for what no message may be: a text with
// a document type, or in another encoding than UTF-8. is_whole: null, or becomes
// false where a prefix is declared as nothing, which the parser leaves out.
inline fuzz_document fuzz_xml_parse(const std::string &text, bool *is_whole = nullptr)
{
    xmlSetStructuredErrorFunc(is_whole, fuzz_xml_note);
    if (text.find('\0') != std::string::npos)
        return nullptr;
    fuzz_document document(xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr,
                                         "utf-8", XML_PARSE_NONET | XML_PARSE_NOENT));
    if (document && (document->intSubset != nullptr || document->encoding == nullptr))
        return nullptr;
    return document;
}

inline std::string fuzz_xml_string(const xmlChar *text)
{
    return text != nullptr ? reinterpret_cast<const char *>(text) : "";
}
