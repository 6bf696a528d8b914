// Every argument that may stand at the cursor prints a block of its own: an
// empty line, a heading when nothing is typed yet, and the candidates. An
// argument without candidates prints nothing and does not keep the others from
// printing theirs. Inserting what the candidates of one share changes the line,
// so each argument reads it anew.
#include "complete/argument_help.h"

#include <string.h>

#include "base/log.h"
#include "complete/argument_table.h"
#include "complete/candidates.h"
#include "complete/line_scan.h"
#include "complete/match_list.h"
#include "complete/schema_matches.h"
#include "tinyrl/tinyrl.h"

namespace
{

enum argument_type {
    argument_type_schema,
    argument_type_datastore,
    argument_type_list_key,
    argument_type_location,
    argument_type_other,
};

struct help_request {
    tinyrl *editor;
    bool is_list;         // all arguments are listed under headings
    const char *previous; // the word before the current one; null for the command
};

argument_type type_of(const arg_desc *argument)
{
    constexpr const char *names[] = {"schema", "datastore", "list_key", "location"};
    for (unsigned i = 0; argument->type != nullptr && i < argument_type_other; i++) {
        if (strcmp(names[i], argument->type) == 0)
            return static_cast<argument_type>(i);
    }
    return argument_type_other;
}

// Whether the only candidate is typed in full and nothing can come below it.
bool is_complete_leaf(const match_list *matches, size_t typed_length)
{
    if (matches->count != 1)
        return false;
    const std::string_view name = matches->entry[0];
    return name.size() == typed_length && !name.ends_with('/');
}

void schema_help(const help_request *request, const line_scan *scan)
{
    tinyrl *editor = request->editor;
    size_t component = 0;
    if (last_component_offset(typed_text(editor, scan->word_start), &component) != 0)
        return;
    component += scan->word_start;
    match_list matches;
    get_match(editor, scan->word_start, &matches);
    tinyrl_crlf(editor);
    if (is_complete_leaf(&matches, scan->point - component)) {
        tinyrl_printf(editor, "<cr>\n");
        return;
    }
    if (request->is_list)
        tinyrl_printf(editor, "path:\n");
    else
        match_list_insert_common(editor, component, &matches);
    match_list_print(editor, &matches);
}

int collect(const help_request *request, const line_scan *scan, const arg_desc *argument,
            match_list *list)
{
    switch (type_of(argument)) {
    case argument_type_datastore:
        return add_range_values(request->editor, scan->word_start, argument,
                                request->previous != nullptr ? request->previous : "", list);
    case argument_type_list_key:
        return add_list_keys(request->editor, scan, list);
    default:
        return match_add(request->editor, scan->word_start, list, argument->name, argument->help);
    }
}

void word_help(const help_request *request, const line_scan *scan, const arg_desc *argument)
{
    tinyrl *editor = request->editor;
    match_list list;
    if (collect(request, scan, argument, &list) != 0 || list.count == 0) {
        log_error("[ERROR] no matches find.\n");
        return;
    }
    tinyrl_crlf(editor);
    const bool is_location = type_of(argument) == argument_type_location;
    if (is_location && request->is_list)
        return; // it stands in the table above
    if (!is_location && request->is_list)
        tinyrl_printf(editor, "%s:\n", argument->name);
    if (!is_location && !request->is_list)
        match_list_insert_common(editor, scan->word_start, &list);
    match_list_print(editor, &list);
}

void argument_help(const help_request *request, const arg_desc *argument)
{
    line_scan scan;
    const argument_type type = type_of(argument);
    if (type == argument_type_other ||
        line_scan_read(request->editor, quoted_blanks_part, &scan) != 0)
        return;
    if (type == argument_type_schema)
        schema_help(request, &scan);
    else
        word_help(request, &scan, argument);
}

// A positional follower is told by its range, an option's argument by the
// option before it.
bool may_follow(const arg_desc *argument, const char *previous)
{
    return argument->prereq != nullptr &&
           (argument->range != nullptr || strcmp(argument->prereq, previous) == 0);
}

} // namespace

void first_argument_help(tinyrl *editor, const cmd_entry *command, first_argument_state state)
{
    line_scan scan;
    if (state == first_argument_to_come) {
        argument_table_print(editor, command);
    } else if (line_scan_read(editor, quoted_blanks_part, &scan) == 0) {
        const std::string_view typed = typed_text(editor, scan.word_start);
        argument_table_print(editor, command, &typed);
    }
    const help_request request = {editor, state == first_argument_to_come, nullptr};
    for (const arg_desc *argument = command->args; argument->name != nullptr; argument++) {
        if (argument->prereq == nullptr)
            argument_help(&request, argument);
    }
}

void next_argument_help(tinyrl *editor, const cmd_entry *command, const char *previous)
{
    const help_request request = {editor, false, previous};
    for (const arg_desc *argument = command->args; argument->name != nullptr; argument++) {
        if (may_follow(argument, previous))
            argument_help(&request, argument);
    }
}
