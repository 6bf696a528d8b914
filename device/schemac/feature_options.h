// Which features the command line asks for.
#pragma once

#include <string>
#include <vector>

struct feature_option {
    std::string module;
    std::string feature; // "*" means all
};

struct feature_options {
    std::vector<feature_option> named;
    bool is_all;  // of all modules
    bool is_told; // also by a file that names none
};

// Adds MODULE:FEATURE, MODULE:* or *:*; 0, or -1 for any other text.
int feature_options_add(feature_options *options, const std::string &text);

// Adds what a file holds: one such text a line, blank lines, and comments from
// a '#' on. 0, or -1 after file, line and cause have been printed.
int feature_options_add_file(feature_options *options, const char *path);
