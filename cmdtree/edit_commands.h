// The commands set, delete, add-listentry and discard_changes.
//
// Interactively they change the command trees; in the one-shot mode they write
// lines to the profile, from which commit stages them. Handlers take the
// command line from the command word on, report failures to the operator, and
// return 0.
#ifndef VANDEL_CMDTREE_EDIT_COMMANDS_H
#define VANDEL_CMDTREE_EDIT_COMMANDS_H

int cmd_set(const char *line);
int cmd_delete(const char *line);
int cmd_add_listentry(const char *line);
int cmd_discard_changes(const char *line);

#endif
