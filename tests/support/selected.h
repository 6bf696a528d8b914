// The elements at "/n:a/m:b" of a text, as xml_select and as a document finds them.
#pragma once

#include <string>
#include <vector>

#include "link/xml_plain.h"
#include "link/xml_select.h"

constexpr char selected_path[] = "/n:a/m:b";

inline void selected_namespaces(ns_list *namespaces)
{
    ns_add(namespaces, "n", "urn:n");
    ns_add(namespaces, "m", "urn:m");
}

// "{name=text;…}" for each; "?" where a document has to tell from there on.
inline std::string selected(const std::string &text, const char *path = selected_path)
{
    ns_list namespaces;
    selected_namespaces(&namespaces);
    const std::vector<char> exact(text.begin(), text.end()); // a sanitizer knows its end
    xml_selection selection;
    if (!xml_is_plain(exact.data(), exact.size(), "z") ||
        !xml_select_begin(&selection, {exact.data(), exact.size()}, path, namespaces))
        return "?";
    std::string shown;
    xml_record record;
    xml_select_result result = xml_select_next(&selection, &record);
    for (; result == xml_select_found; result = xml_select_next(&selection, &record)) {
        shown += "{";
        for (size_t i = 0; i < record.count; i++)
            shown +=
                std::string(record.leaf[i].name) + "=" + std::string(record.leaf[i].text) + ";";
        shown += "}";
    }
    return result == xml_select_end ? shown : shown + "?";
}

// The same from a document, without "?".
inline std::string selected_in_document(const std::string &text, const char *path = selected_path)
{
    ns_list namespaces;
    selected_namespaces(&namespaces);
    const xml_doc document = xml_parse(text.data(), text.size());
    const xpath_result found =
        document ? xpath_eval(document.get(), path, namespaces) : xpath_result();
    std::string shown;
    for (int i = 0; found && i < found->nodesetval->nodeNr; i++) {
        shown += "{";
        const xmlNode *child = found->nodesetval->nodeTab[i]->children;
        for (; child != nullptr; child = child->next) {
            if (child->type != XML_ELEMENT_NODE)
                continue;
            const xml_content content = xml_node_content(child);
            shown += std::string(reinterpret_cast<const char *>(child->name)) + "=" +
                     reinterpret_cast<const char *>(content.get()) + ";";
        }
        shown += "}";
    }
    return shown;
}

// Whether what was selected is what the document has, as far as it was told.
inline bool selected_rightly(const std::string &got, const std::string &wanted)
{
    return got.ends_with('?') ? wanted.starts_with(got.substr(0, got.size() - 1)) : got == wanted;
}
