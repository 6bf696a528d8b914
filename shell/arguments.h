// The arguments of the process.
#pragma once

#include "base/text.h"

// Takes the line that `count` arguments make, joined with single blanks, and
// overwrites them where the system keeps them: every user may read that place
// (ps, /proc/PID/cmdline), for as long as a slow daemon is waited for. Returns
// null when there is none or memory runs out; overwritten they are all the same.
heap_text take_arguments(int count, char **arguments);
