// Running one input line.
#pragma once

enum dispatch_result {
    dispatch_leave = -1,  // the interactive loop ends
    dispatch_ran = 0,     // a command or rpc was run, whatever became of it
    dispatch_nothing = 1, // blank line, unknown word, no memory
};

// Runs the command that the line's first word names, an rpc otherwise. The
// handler may write into the line.
dispatch_result dispatch(char *line);
