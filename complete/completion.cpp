// Tab and '?' find their candidates in the same places: the command table, the
// schema below the workspace, and the staged and committed entries of lists.
//
// They differ in how they come to an argument. Tab goes by the command's
// position in the table and the argument's; '?' goes by the descriptors, of
// which several may fit. Tab takes quoted text for one word, '?' does not.
//
// The line belongs to the editor, and may be an entry of its history: it is
// copied to be taken apart, and changed only through the editor.
#include "complete/completion.h"

#include <string.h>

#include "complete/argument_help.h"
#include "complete/candidates.h"
#include "complete/line_scan.h"
#include "complete/match_list.h"
#include "complete/schema_matches.h"
#include "schema/command_reads.h"
#include "tinyrl/tinyrl.h"

namespace
{

int add_datastores(const tinyrl *editor, const line_scan *scan, const cmd_entry *command,
                   match_list *list)
{
    const words_typed typed = count_words_before(scan);
    const size_t first = command->id == command_import_config ? 1 : 0;
    const size_t last = command->id == command_export_config ? 0 : 1;
    if (typed.count < first || typed.count > last)
        return 0;
    const bool is_copy_target = command->id == command_copy_config && typed.count == 1;
    return add_range_values(editor, scan->word_start, command_argument(command, typed.count),
                            is_copy_target ? typed.first : std::string_view(), list);
}

int add_argument_names(const tinyrl *editor, const line_scan *scan, match_list *list)
{
    const cmd_entry *command = typed_command(scan);
    if (command == nullptr)
        return 0;
    switch (command->id) {
    case command_cd:
    case command_set:
    case command_delete:
    case command_get:
    case command_get_config:
        get_match(editor, scan->word_start, list);
        return 0;
    case command_copy_config:
    case command_export_config:
    case command_import_config:
        return add_datastores(editor, scan, command, list);
    case command_add_listentry:
        return add_list_keys(editor, scan, list);
    default:
        return 0;
    }
}

void print_commands(tinyrl *editor, const match_list *list, size_t commands)
{
    tinyrl_crlf(editor);
    if (list->count == 1 && commands == 0) {
        tinyrl_printf(editor, "  ");
        tinyrl_print_safe(editor, list->entry[0], 0);
        tinyrl_crlf(editor);
        return;
    }
    match_list_print(editor, list);
}

void command_help_listing(tinyrl *editor, const line_scan *scan)
{
    match_list list;
    size_t commands = 0;
    if (add_command_names(editor, scan->word_start, &list, &commands) != 0 || list.count == 0)
        return;
    print_commands(editor, &list, commands);
    match_list_insert_common(editor, scan->word_start, &list);
    tinyrl_reset_line_state(editor);
}

// Of these commands nothing follows the second argument.
bool takes_two_arguments(const cmd_entry *command)
{
    return command->id == command_copy_config || command->id == command_export_config ||
           command->id == command_import_config;
}

void argument_help_listing(tinyrl *editor, const line_scan *scan)
{
    const cmd_entry *command = typed_command(scan);
    if (command == nullptr)
        return;
    const bool is_word_empty = scan->word_start == scan->point;
    const words_typed typed = count_words_before(scan);
    if (typed.count == 0 && is_word_empty) {
        tinyrl_crlf(editor);
        tinyrl_printf(editor, "  %s    %s\n", command->name, command->help);
        first_argument_help(editor, command, first_argument_to_come);
        tinyrl_reset_line_state(editor);
        return;
    }
    if (is_word_empty && typed.count >= 2 && takes_two_arguments(command))
        return;
    if (typed.count == 0) {
        first_argument_help(editor, command, first_argument_begun);
    } else {
        const heap_text previous = text_copy(typed.last);
        if (previous)
            next_argument_help(editor, command, previous.get());
    }
    tinyrl_printf(editor, "\r\n");
    tinyrl_reset_line_state(editor);
}

} // namespace

bool completion_tab_key(tinyrl *editor, int /*key*/)
{
    const command_reads reads;
    line_scan scan;
    if (line_scan_read(editor, quoted_blanks_join, &scan) != 0)
        return false;
    match_list list;
    size_t offset = 0;
    size_t commands = 0;
    const int failed =
        in_command_word(&scan)
            ? add_command_names(editor, scan.word_start, &list, &commands)
            : add_argument_names(editor, &scan, &list) != 0 ||
                  last_component_offset(typed_text(editor, scan.word_start), &offset) != 0;
    if (failed != 0 || list.count == 0)
        return false;
    const size_t start = scan.word_start + offset;
    if (list.count > 1) {
        tinyrl_complete_matches(editor, start, list.entry, false);
        return true;
    }
    if (!replace_typed(editor, start, list.entry[0], strlen(list.entry[0])))
        return false;
    tinyrl_redisplay(editor);
    return true;
}

bool completion_help_key(tinyrl *editor, int /*key*/)
{
    const command_reads reads;
    line_scan scan;
    if (line_scan_read(editor, quoted_blanks_part, &scan) != 0)
        return false;
    if (in_command_word(&scan))
        command_help_listing(editor, &scan);
    else
        argument_help_listing(editor, &scan);
    return false;
}
