// What an edit, its loss, and the state that it leaves mean in the mode that the
// shell is in.
//
// At the prompt a change goes into the tree of the configuration or of the current
// rpc's input, and the session lasts. In the one-shot mode both live in the profile:
// a change is a line there, which is written only when it can be staged and would be
// read back as it is.
#pragma once

#include "cmdtree/tree.h"
#include "profile/profile.h"
#include "schema/place.h"

// Sets or deletes a place, with a value as it was split or null; 0, or -1 and nothing
// has changed. A delete forgets the list entries that go with it; in the one-shot
// mode it takes no value and is not known to fail.
int stage_change(cmd_operation operation, const place &at, const char *value);

// Adds an entry, of this masked name and path, to a list, with a message where the
// prompt's operator has it already or memory runs out.
void stage_entry(const place &list, const char *name, const char *entry_path);

// Stages what the profile holds; at the prompt all is there already.
profile_replay_result staged_restore();

// Drops what is staged.
void staged_discard();

// Writes what is left staged, and a line of the session's state ("[pwd]", "[rpc]"),
// where the next command finds it; at the prompt it is there already.
void staged_keep();
void session_keep(const char *section, const char *line);
