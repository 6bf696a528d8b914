// A terminal's input without line mode, echo and signal keys, and back.
//
// Only one terminal is in raw mode at a time: it alone is given back when the
// process exits or aborts in the middle of a read, or when a hang-up, interrupt
// or quit signal that nobody handles ends it.
#pragma once

#include <stdio.h>
#include <termios.h>

struct raw_mode {
    int descriptor;
    bool is_terminal;
    bool is_saved; // saved holds the settings found at attachment
    bool is_active;
    termios saved;
};

// Looks at input (null: no terminal) and remembers its settings.
void raw_mode_attach(raw_mode *mode, FILE *input);

// Switches to raw mode, once what was written has drained. Nothing happens
// where there is no way back: no terminal, or settings that could not be read.
void raw_mode_enter(raw_mode *mode);

// Applies the remembered settings, once what was written has drained.
void raw_mode_leave(raw_mode *mode);

// The same for the end of the process: a terminal that takes no more output is
// waited for half a second only.
void raw_mode_abandon(raw_mode *mode);

// raw_mode_abandon for the terminal that is in raw mode now, if there is one.
void raw_mode_rescue();
