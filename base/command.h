// The rows of the command table: what dispatch, help and completion read.
//
// The table itself stands in shell/, above all handlers; what is below it is
// handed the rows at start-up.
#pragma once

// An accepted value; both fields are null in the row that ends a range.
struct range_item {
    const char *value;
    const char *help;
};

// An argument; name is null in the row that ends a command's arguments.
struct arg_desc {
    const char *name; // also the option word of type "location"
    const char *help;
    const char *type;        // schema, location, datastore, list_key or string
    const char *prereq;      // name of the argument before this one; null for a first one
    const char *range_text;  // one-line summary of the accepted values, or null
    const range_item *range; // accepted values, or null
};

using cmd_handler = int(const char *line);

// A command; name is null in the row that ends the table.
struct cmd_entry {
    int id; // the row's number
    const char *name;
    cmd_handler *handler; // null for quit, which the dispatcher handles itself
    const char *help;
    const arg_desc *args;
};

// Rows of the commands, by position.
enum command_id {
    command_help,
    command_cd,
    command_ls,
    command_pwd,
    command_set,
    command_delete,
    command_discard_changes,
    command_get,
    command_get_config,
    command_copy_config,
    command_commit,
    command_save,
    command_add_listentry,
    command_export_config,
    command_import_config,
    command_quit,
    command_delete_config,
    command_count,
};

// Hands in the rows of the shell, which stay the caller's.
void command_rows_use(const cmd_entry *rows);

// The first of the rows that were handed in; before, an empty table's.
const cmd_entry *command_rows();

// The row with exactly this name, or null.
const cmd_entry *command_find(const cmd_entry *rows, const char *name);
