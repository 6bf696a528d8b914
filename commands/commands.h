// The handlers of the command table.
//
// Each takes the command line from the command word on, reports failures to the
// operator, and returns 0. The texts that they print are interface, misspellings
// included.
#pragma once

// Prints all commands or one of them. Cuts the line after its second word, so the
// line must be writable although handlers are given it as const.
int cmd_help(const char *line);

// Prints version and build time.
void version_print();

int cmd_cd(const char *line);
int cmd_ls(const char *line);
int cmd_pwd(const char *line);

int cmd_get(const char *line);
int cmd_get_config(const char *line);

// These change the command trees; in the one-shot mode they write lines to the
// profile, from which commit stages them.
int cmd_set(const char *line);
int cmd_delete(const char *line);
int cmd_add_listentry(const char *line);
int cmd_discard_changes(const char *line);

// Sends everything staged as one request.
int cmd_commit(const char *line);

int cmd_copy_config(const char *line);
int cmd_delete_config(const char *line);
int cmd_save(const char *line);

// Replaces what stands at its path, a symbolic link itself and not what it leads
// to, and somebody else's file by one of the operator's own. A directory, a device
// or a FIFO is refused, and so is whatever comes to stand there while the datastore
// is read.
int cmd_export_config(const char *line);

// Reads regular files, whoever owns them, because the operator has named one; it
// follows no symbolic link. Neither this nor the export waits for the other end of
// a FIFO.
int cmd_import_config(const char *line);
