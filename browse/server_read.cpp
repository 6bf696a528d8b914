#include "browse/server_read.h"

#include <string.h>

#include "base/log.h"
#include "base/session.h"
#include "base/text.h"
#include "browse/descendants.h"
#include "browse/known_entries.h"
#include "browse/read_requests.h"
#include "link/request.h"
#include "link/xml_select.h"
#include "link/xpath.h"
#include "schema/data_xpath.h"
#include "schema/key_set.h"
#include "schema/masking.h"
#include "schema/path.h"
#include "schema/place.h"

namespace
{

// Sends a request and reads the reply; 0 or -1.
int exchange(text_buffer request, reply_text *reply)
{
    if (!request.data) {
        log_debug("[DEBUG] Build get msg error\n");
        return -1;
    }
    unmask_keys(request.data.get());
    const request_result result = request_exchange(&request, reply);
    if (result == request_unsent) {
        log_debug("[DEBUG] send get msg error\n");
        return -1;
    }
    if (result == request_unanswered || reply->length == 0) {
        log_debug("[DEBUG] recv get msg reply error\n");
        return -1;
    }
    return 0;
}

xml_doc parse_reply(const reply_text &reply)
{
    xml_doc document = xml_parse(reply.text.get(), reply.length);
    if (!document)
        log_debug("[DEBUG] Receive a invalid xml document.\n");
    return document;
}

// Where a reply holds what stands at a path; null when that cannot be told.
heap_text reply_xpath(const char *path, ns_list *namespaces)
{
    const heap_text steps = data_xpath(path, namespaces);
    heap_text expression =
        steps ? text_concat({"/base10:rpc-reply/base10:data", steps.get()}) : nullptr;
    if (steps && !expression)
        log_debug("[DEBUG] Out of memory!\n");
    return expression;
}

int add_key(key_value_set *set, std::string_view name, const char *text)
{
    const heap_text value = text != nullptr ? quote_value(text) : nullptr;
    return value ? key_values_add(set, name, value.get()) : -1;
}

// The name of the entry that an element of the reply stands for; null when its
// keys are not the list's.
heap_text node_entry_name(const char *list_name, const xmlNode *entry, key_names *keys)
{
    key_value_set set(keys->count);
    for (const xmlNode *child = entry->children; child != nullptr; child = child->next) {
        if (child->type != XML_ELEMENT_NODE)
            continue;
        const xml_content content = xml_node_content(child);
        if (add_key(&set, reinterpret_cast<const char *>(child->name),
                    reinterpret_cast<const char *>(content.get())) != 0)
            return nullptr;
    }
    return entry_name(list_name, &set, keys);
}

// The same where there is no document.
heap_text record_entry_name(const char *list_name, const xml_record &entry, key_names *keys)
{
    key_value_set set(keys->count);
    for (size_t i = 0; i < entry.count; i++) {
        const heap_text text = text_copy(entry.leaf[i].text);
        if (add_key(&set, entry.leaf[i].name, text.get()) != 0)
            return nullptr;
    }
    return entry_name(list_name, &set, keys);
}

// Whether an entry has the keys of its list, each once.
bool has_keys(const xml_record &entry, const key_names &keys)
{
    for (size_t key = 0; key < keys.count; key++) {
        size_t found = 0;
        for (size_t i = 0; i < entry.count; i++)
            found += entry.leaf[i].name == keys.name[key] ? 1 : 0;
        if (found != 1)
            return false;
    }
    return entry.count == keys.count;
}

// Whether a name of an entry, unmasked, may give a leaf its text. No more is looked at in
// one that is full of signs: comparing a text at each would take the square of its length.
bool may_give(std::string_view name, const xml_leaf &leaf)
{
    int patience = 64;
    for (size_t at = name.find('='); at != std::string_view::npos; at = name.find('=', at + 1)) {
        if (patience-- == 0)
            return true;
        const std::string_view value = text_slice(name, at + 1);
        const std::string_view quoted = text_slice(value, 1);
        if (text_slice(name, 0, at).ends_with(leaf.name) &&
            (text_starts_with(value, leaf.text) || text_starts_with(quoted, leaf.text)))
            return true;
    }
    return false;
}

// Whether an entry surely has another name than the one that is wanted, unmasked, so
// that its own need not be made: that takes far longer than looking.
bool is_another(const xml_record &entry, const key_names &keys, const char *wanted)
{
    if (wanted == nullptr || !has_keys(entry, keys))
        return false;
    for (size_t i = 0; i < entry.count; i++) {
        if (!may_give(wanted, entry.leaf[i]))
            return true;
    }
    return false;
}

// The entries in a reply, in its text as far as that can be understood, and from there
// on in a document. The nodes point into it, and are freed before it.
struct entry_reader {
    const char *list_name;
    key_names keys;
    heap_text wanted;     // unmasked: the only entry that is; null for all
    known_entries *known; // null when all are wanted
    reply_text reply;
    ns_list namespaces;
    heap_text expression;
    xml_selection selection;
    xml_doc document;
    xpath_result nodes;
    int passed;    // so many entries
    bool is_whole; // the reply has been read to its end, without a document
};

// Makes a document of the reply; 0, or -1 when there are no entries in it.
int entries_parse(entry_reader *reader)
{
    if (!reader->document)
        reader->document = parse_reply(reader->reply);
    if (reader->document)
        reader->nodes =
            xpath_eval(reader->document.get(), reader->expression.get(), reader->namespaces);
    return reader->nodes ? 0 : -1;
}

// Asks for the entries; 0, or -1 when there are none to be read.
int entries_open(entry_reader *reader, const char *list_path)
{
    text_buffer request = build_get_list_keys(list_path, &reader->keys);
    if (reader->known != nullptr && request.data)
        reader->reply = known_entries_ask(reader->known, request.data.get());
    if (exchange(std::move(request), &reader->reply) != 0)
        return -1;
    if (!reader->reply.is_plain && !(reader->document = parse_reply(reader->reply)))
        return -1;
    reader->expression = reply_xpath(list_path, &reader->namespaces);
    if (!reader->expression)
        return -1;
    const bool is_selected =
        reader->reply.is_plain &&
        xml_select_begin(&reader->selection, {reader->reply.text.get(), reader->reply.length},
                         reader->expression.get(), reader->namespaces);
    return is_selected ? 0 : entries_parse(reader);
}

// The next entry that may be wanted; false when there is none. Its name is null when it
// cannot be told.
bool entries_next(entry_reader *reader, heap_text *name)
{
    xml_record entry;
    while (!reader->nodes) {
        const xml_select_result found = xml_select_next(&reader->selection, &entry);
        reader->is_whole = found == xml_select_end;
        if (found == xml_select_end || (found == xml_select_unknown && entries_parse(reader) != 0))
            return false;
        if (found == xml_select_unknown)
            break;
        reader->passed++;
        if (!is_another(entry, reader->keys, reader->wanted.get())) {
            *name = record_entry_name(reader->list_name, entry, &reader->keys);
            return true;
        }
    }
    const xmlNodeSet *nodes = reader->nodes->nodesetval;
    if (reader->passed >= nodes->nodeNr)
        return false;
    *name = node_entry_name(reader->list_name, nodes->nodeTab[reader->passed], &reader->keys);
    reader->passed++;
    return true;
}

// Whether the reply is known to hold no entry of that name. When that cannot be told of a
// reply that came before, all of its names are wanted, to be known the next time.
bool is_known_to_lack(entry_reader *reader, const char *name)
{
    known_entries *known = reader->known;
    if (known == nullptr || name == nullptr)
        return false;
    if (!reader->reply.is_known)
        known->count = 0;
    else if (known->count == 0)
        reader->wanted = nullptr;
    return known_entries_lack(*known, name);
}

// Asks for the entries of a list and gives their names to take(name), which returns 0 or
// -1; 0 or -1. With one that is `wanted`, others may be left out.
template <class Take>
int ask_entries(const place &list, const char *wanted, Take take)
{
    const char *list_path = list.path.get();
    if (list_path == nullptr) {
        log_debug("[DEBUG] listpath is null\n");
        return -1;
    }
    entry_reader reader = {};
    reader.list_name = path_last_component(list_path);
    reader.wanted = unmasked_copy(wanted);
    reader.known = wanted != nullptr ? session.entries_known : nullptr;
    // Without keys its entries have no names; they are not asked for.
    if (list_keys(list, &reader.keys) != 0 || reader.keys.count == 0) {
        log_debug("[DEBUG] failed to get list[%s] key\n", shown_text(list_path).get());
        return -1;
    }
    const bool is_open = entries_open(&reader, list_path) == 0;
    if (is_open && is_known_to_lack(&reader, wanted)) {
        reader.known->answer = std::move(reader.reply);
        return 0;
    }
    const bool learns = reader.known != nullptr && !reader.wanted;
    heap_text name;
    while (is_open && entries_next(&reader, &name)) {
        if (!name || take(name.get()) != 0)
            return -1;
        if (learns)
            known_entries_add(reader.known, name.get());
    }
    if (reader.passed == 0)
        log_debug("[DEBUG] netserver didn't configure list\n");
    if (learns)
        known_entries_sort(reader.known);
    if (reader.is_whole && reader.known != nullptr)
        reader.known->answer = std::move(reader.reply);
    return 0;
}

} // namespace

bool server_has_data(const char *path)
{
    reply_text reply;
    if (exchange(build_get_config(path, read_source_running), &reply) != 0)
        return false;
    const xml_doc document = parse_reply(reply);
    if (!document)
        return false;
    ns_list namespaces;
    const heap_text expression = reply_xpath(path, &namespaces);
    return expression && xpath_eval(document.get(), expression.get(), namespaces) != nullptr;
}

bool server_has_entry(const place &list, const char *name)
{
    bool is_there = false;
    const int result = ask_entries(list, name, [&](const char *entry) {
        is_there = is_there || strcmp(entry, name) == 0;
        return 0;
    });
    return result == 0 && is_there;
}

int server_list_entries(const place &list, descendant_list *entries)
{
    return ask_entries(list, nullptr, [entries](const char *name) {
        if (descendants_add(entries, name, record_of_kind(node_kind_list)) == 0)
            return 0;
        log_debug("[DEBUG] Out of memory!\n");
        return -1;
    });
}
