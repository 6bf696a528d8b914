// Recording an edit in the profile, for the one-shot mode.
//
// What could not be staged, or would not be read back as it is, is not recorded.
#ifndef VANDEL_COMMANDS_RECORD_CHANGE_H
#define VANDEL_COMMANDS_RECORD_CHANGE_H

// Puts a "set" or "delete" of a masked path, with a value as it was split or
// null, into the profile: into the rpc's section in RPC mode, else into the
// configuration's. 0, or -1 and the profile is as it was.
int record_command(const char *word, const char *path, const char *value);

// Puts the two lines of a new list entry into the profile: "set" with its path,
// like record_command, and "add" with the list and the entry's name, which goes
// to the configuration's section always. All are masked. When either could not
// be read back, none is written; 0 or -1.
int record_entry(const char *entry_path, const char *list_path, const char *name);

#endif
