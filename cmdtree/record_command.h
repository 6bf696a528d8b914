// Recording an edit in the profile, for the one-shot mode.
#ifndef VANDEL_CMDTREE_RECORD_COMMAND_H
#define VANDEL_CMDTREE_RECORD_COMMAND_H

// Appends "word path" or "word path value" to the profile: to the rpc's
// section in RPC mode, except for "add", else to the configuration's. The path
// is written unmasked, the value as given. 0, or -1 (logged).
int record_command(const char *word, const char *path, const char *value);

#endif
