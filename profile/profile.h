// The profile file "/tmp/vandel.conf": the session of the one-shot mode.
//
//     [pwd]         one line: the workspace
//     [config]      set PATH [VALUE] | delete PATH [VALUE] | add LISTPATH KEYS
//     [rpc]         none or one line: the path of the current rpc
//     [rpc_para]    set PATH [VALUE]
//     %%%           end; what stands after it is ignored
//
// An empty line ends a section. Paths are written unmasked, but for codes that
// masking would not put there, values with their codes (base/args.h). A line of
// [pwd] or [rpc] that does not begin with "/" is passed over. The file has mode
// 0600 from its creation on. A symbolic link, anything but a regular file,
// another user's file (to root, too) and a file with a second name count as a
// file that cannot be opened; so does one that its group or others may write, until
// it is written anew. Failures are logged; int results are 0 or -1.
#pragma once

enum profile_mode {
    profile_append,  // after the last line of the section
    profile_replace, // in place of the lines of the section
};

enum profile_replay_result {
    profile_replayed = 0,
    profile_refused = -1,  // a line cannot be taken
    profile_unread = -2,   // reading failed or memory ran out: lines are missing
    profile_unopened = -3, // the file cannot be opened: all are missing
};

// Writes the file with the workspace and the rpc and nothing staged.
int profile_write_fresh();

// Writes the file with everything that is staged.
int profile_write_back();

// Puts a line (at most 1000 bytes) into a section, creating the file first
// when it is missing.
int profile_put_line(const char *section, const char *line, profile_mode mode);

// Sets workspace and rpc from the file at start-up. A missing file is success.
int profile_load_start();

// Replays the file into the session: workspace, rpc, command trees and list
// entries. A missing file is success; what ends the replay leaves what was
// staged before it.
profile_replay_result profile_load();
