// The parts of schemac that are programs in Python.
#pragma once

#include <string>
#include <vector>

// Becomes the program of this name, whose arguments are the path of schemac and the
// words. Returns 1, after the cause has been printed, where it cannot be run.
int become(const char *name, std::vector<std::string> words);
