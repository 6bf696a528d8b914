// The lines of the profile (profile/profile.h).
//
// One that holds a staged change has a word, a path and, some, a last word. It is
// split like a command line, and quotes pair up over the whole of it. So words that
// were split one by one, or that came from the workspace, may make a line that says
// something else; such a line is not written.
#pragma once

#include "base/args.h"
#include "base/text.h"

// The words of a line as they are staged: the path masked, and the last word of
// an "add", which is the name of an entry, too.
struct profile_words : arg_words {
    explicit profile_words(const char *line);
};

// Puts a copy of the line of a section that holds a path, up to its zero byte, into *slot; null,
// and a line that is no path, are passed over. 0, or -1 when memory runs out.
int profile_take_path(char **slot, const char *line);

// The line for words as they are staged; last is null for none. Null when the
// line would not be read back as these words, and when memory runs out.
heap_text profile_line(const char *word, const char *path, const char *last);
