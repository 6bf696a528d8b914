// The ls command: the children of the workspace in columns, each in the colour
// of its kind, each choice as one item: ( ( a b)* | ( c) ).
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/columns.h"
#include "base/log.h"
#include "base/text.h"
#include "browse/descendants.h"
#include "commands/staging.h"
#include "schema/masking.h"

namespace
{

constexpr unsigned punctuation_class = 7;
constexpr unsigned class_of_kind[] = {1, 1, 0, 0, 2, 5, 7, 9, 7, 7, 0, 0};

unsigned display_class(const descendant *node)
{
    const unsigned kind = record_kind(node->record);
    return kind < sizeof class_of_kind / sizeof class_of_kind[0] ? class_of_kind[kind] : 0;
}

int add_node(const descendant *node)
{
    const heap_text name = text_copy(node->name);
    if (!name)
        return -1;
    if (record_kind(node->record) == node_kind_list)
        unmask_keys(name.get());
    return listing_add(name.get(), display_class(node));
}

// Adds a piece to the item that *item is, or starts one.
int add_piece(listing_entry **item, const char *text, unsigned color_class)
{
    *item = listing_merge(*item, text, color_class);
    return *item != nullptr ? 0 : -1;
}

int add_choice(listing_entry **item, const choice_entry *choice);

int add_case_children(listing_entry **item, const descendant_list *children)
{
    for (const descendant *node = children->nodes; node != nullptr; node = node->next) {
        const heap_text name = text_concat({" ", node->name});
        if (!name || add_piece(item, name.get(), display_class(node)) != 0)
            return -1;
    }
    for (const choice_entry *choice = children->choices; choice != nullptr; choice = choice->next) {
        if (add_choice(item, choice) != 0)
            return -1;
    }
    return 0;
}

int add_choice(listing_entry **item, const choice_entry *choice)
{
    const case_entry *active = choice_active_case(choice);
    if (add_piece(item, "( ", punctuation_class) != 0)
        return -1;
    for (const case_entry *entry = choice->cases; entry != nullptr; entry = entry->next) {
        const char *opening = entry == choice->cases ? "(" : " | (";
        const char *closing = entry == active ? ")*" : ")";
        if (add_piece(item, opening, punctuation_class) != 0 ||
            add_case_children(item, &entry->children) != 0 ||
            add_piece(item, closing, punctuation_class) != 0)
            return -1;
    }
    return add_piece(item, " )", punctuation_class);
}

int add_children(const descendant_list *children)
{
    for (const descendant *node = children->nodes; node != nullptr; node = node->next) {
        if (add_node(node) != 0)
            return -1;
    }
    for (const choice_entry *choice = children->choices; choice != nullptr; choice = choice->next) {
        listing_entry *item = nullptr;
        if (add_choice(&item, choice) != 0)
            return -1;
    }
    return 0;
}

void list_workspace()
{
    if (listing_start() != 0) {
        log_debug("[DEBUG] error: ls init \r\n\n");
        return;
    }
    // A profile may hold a workspace that is not in its normal form.
    const place workspace = place_of_workspace();
    descendant_set children;
    if (!workspace.path || descendants_of(workspace, &children) != 0 ||
        add_children(&children) != 0)
        log_error("[ERROR] error:get ls node \r\n\n");
    else
        listing_print();
    listing_free();
}

} // namespace

int cmd_ls(const char *line)
{
    const bool missing = staged_restore() == profile_unread;
    const arg_words words(line);
    if (words.argc != 1)
        puts("error command, please use:ls (no param)\r");
    else if (missing)
        log_error("[ERROR] error:get ls node \r\n\n");
    else
        list_workspace();
    return 0;
}
