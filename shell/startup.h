// Start-up and the two run modes.
#pragma once

// Connects to the daemon and the schema database and prepares the session. 0,
// or non-zero, and then what it allocated has been released; the operator has
// been told where the daemon could not be reached.
int vandel_init();

// Runs one line, which it may write into; 0, or -1 when it could not be run: also
// for null, a line for which there was no memory.
int run_oneshot(char *line);

// Reads and runs lines until one ends the loop; 0, or -1 without an editor.
int run_interactive();
