// What is going on, for an operator who waits at a terminal.
#pragma once

#include <string>

// Starts the clock. Nothing is shown during the first second, and never
// anything when standard error is no terminal.
void progress_start();

// Writes a line over the one before, unless that has just been written.
void progress_show(const std::string &text);

// Removes the line, before anything else is printed.
void progress_clear();
