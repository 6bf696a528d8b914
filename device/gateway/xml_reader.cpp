#include "device/gateway/xml_reader.h"

#include <limits.h>
#include <string.h>

namespace
{

bool is_blank(char byte)
{
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

bool equal(const xmlChar *left, const char *right)
{
    return left != nullptr && strcmp(reinterpret_cast<const char *>(left), right) == 0;
}

void ignore_error(void *, const char *, xmlParserSeverities, xmlTextReaderLocatorPtr) {}

} // namespace

void xml_reader_deleter::operator()(xmlTextReader *reader) const
{
    xmlFreeTextReader(reader);
}

void xml_text_deleter::operator()(xmlChar *text) const
{
    xmlFree(text);
}

xml_reader xml_reader_open(const char *text, size_t size)
{
    if (size > INT_MAX)
        return nullptr;
    const int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    xml_reader reader(xmlReaderForMemory(text, static_cast<int>(size), nullptr, "UTF-8", options));
    if (reader)
        xmlTextReaderSetErrorHandler(reader.get(), ignore_error, nullptr);
    return reader;
}

bool xml_reader_next_element(xmlTextReader *reader)
{
    while (xmlTextReaderRead(reader) == 1) {
        const int type = xmlTextReaderNodeType(reader);
        if (type == XML_READER_TYPE_ELEMENT)
            return true;
        if (type == XML_READER_TYPE_DOCUMENT_TYPE)
            return false;
    }
    return false;
}

bool xml_reader_is(xmlTextReader *reader, const char *namespace_uri, const char *name)
{
    return equal(xmlTextReaderConstLocalName(reader), name) &&
           equal(xmlTextReaderConstNamespaceUri(reader), namespace_uri);
}

const char *xml_reader_trimmed_text(xmlTextReader *reader, xml_text *owner)
{
    owner->reset(xmlTextReaderReadString(reader));
    char *text = reinterpret_cast<char *>(owner->get());
    if (text == nullptr)
        return nullptr;
    while (is_blank(*text))
        text++;
    size_t size = strlen(text);
    while (size > 0 && is_blank(text[size - 1]))
        size--;
    text[size] = '\0';
    return text;
}
