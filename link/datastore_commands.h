// The commands copy-config, delete-config, save, export-config and import-config.
//
// Handlers take the command line from the command word on, report failures to
// the operator, and return 0.
#ifndef VANDEL_LINK_DATASTORE_COMMANDS_H
#define VANDEL_LINK_DATASTORE_COMMANDS_H

int cmd_copy_config(const char *line);
int cmd_delete_config(const char *line);
int cmd_save(const char *line);
int cmd_export_config(const char *line);
int cmd_import_config(const char *line);

#endif
