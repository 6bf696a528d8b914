#include "complete/schema_matches.h"

#include "base/log.h"
#include "base/session.h"
#include "base/text.h"
#include "browse/descendants.h"
#include "complete/line_scan.h"
#include "schema/masking.h"

namespace
{

bool takes_value(unsigned kind)
{
    return kind == node_kind_leaf || kind == node_kind_leaf_list;
}

int add_children(const descendant_list *set, std::string_view prefix, match_list *list)
{
    for (const descendant *node = set->nodes; node != nullptr; node = node->next) {
        unmask_all(node->name);
        if (aug_option_add_match(list, prefix, node->name, node->record) != 0)
            return -1;
    }
    for (const choice_entry *choice = set->choices; choice != nullptr; choice = choice->next) {
        for (const case_entry *entry = choice->cases; entry != nullptr; entry = entry->next) {
            if (add_children(&entry->children, prefix, list) != 0)
                return -1;
        }
    }
    return 0;
}

} // namespace

int last_component_offset(std::string_view word, size_t *offset)
{
    const heap_text copy = text_copy(word);
    if (!copy)
        return -1;
    mask_path(copy.get());
    const std::string_view masked = copy.get();
    const size_t slash = masked.rfind('/');
    const size_t equals = masked.rfind('=');
    const bool is_value_open = equals != std::string_view::npos && equals < slash &&
                               masked.find(']') == std::string_view::npos;
    *offset = slash == std::string_view::npos || is_value_open ? 0 : slash + 1;
    return 0;
}

void get_match(const tinyrl *editor, size_t word_start, match_list *list)
{
    const std::string_view word = typed_text(editor, word_start);
    size_t component = 0;
    if (last_component_offset(word, &component) != 0 || component == 1)
        return;
    const heap_text path =
        component == 0 ? text_copy(session.pwd)
                       : text_concat({session.pwd, "/", text_slice(word, 0, component - 1)});
    if (!path && component == 0)
        log_error("[ERROR] [get_match] strdup pwd is NULL !\n\n");
    else if (!path)
        log_error("[ERROR] [get_match] malloc pwd is NULL !\n\n");
    const place parent = place_of(path.get());
    descendant_set children;
    if (!parent.path || descendants_of(parent, &children) != 0)
        return;
    if (add_children(&children, text_slice(word, component), list) != 0)
        match_list_free(list);
}

int aug_option_add_match(match_list *list, std::string_view prefix, const char *name,
                         const schema_record *record)
{
    const char *suffix = takes_value(record_kind(record)) ? "" : "/";
    if (!text_starts_with(name, prefix) ||
        match_list_append(list, name, record_help(record), suffix) == 0)
        return 0;
    log_error("[ERROR] [aug_option_add_match]--error:malloc match \r\n \n");
    return -1;
}
