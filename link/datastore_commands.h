// The commands copy-config, delete-config, save, export-config and import-config.
//
// Handlers take the command line from the command word on, report failures to
// the operator, and return 0.
//
// export-config replaces what stands at its path, a symbolic link itself and not
// what it leads to, and somebody else's file by one of the operator's own. A
// directory, a device or a FIFO is refused, and so is whatever comes to stand
// there while the datastore is read. import-config reads regular files, whoever
// owns them, for the operator has named one; it follows no symbolic link. Neither
// waits for the other end of a FIFO.
#ifndef VANDEL_LINK_DATASTORE_COMMANDS_H
#define VANDEL_LINK_DATASTORE_COMMANDS_H

int cmd_copy_config(const char *line);
int cmd_delete_config(const char *line);
int cmd_save(const char *line);
int cmd_export_config(const char *line);
int cmd_import_config(const char *line);

#endif
