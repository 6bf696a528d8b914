// Start-up and the two run modes.
#ifndef VANDEL_SHELL_STARTUP_H
#define VANDEL_SHELL_STARTUP_H

// Connects to the daemon and the schema database and prepares the session. 0,
// or non-zero, and then what it allocated has been released; the operator has
// been told where the daemon could not be reached.
int vandel_init();

// Runs the command that the arguments (at least one) make, joined with single
// blanks; 0, or -1 when it could not be run.
int run_oneshot(int count, char **arguments);

// Reads and runs lines until one ends the loop; 0, or -1 without an editor.
int run_interactive();

#endif
