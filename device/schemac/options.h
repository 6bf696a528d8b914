// The command line of the schema compiler.
#pragma once

#include <string>
#include <vector>

#include "device/schemac/feature_options.h"
#include "platform/redis_endpoint.h"

struct schemac_options {
    std::vector<const char *> directories;
    feature_options features;
    std::vector<const char *> modules;
    std::string where; // as given, for messages
    redis_endpoint endpoint;
    bool is_forced;   // also when nothing has changed
    bool keeps_going; // stores what can be compiled
    bool wants_help;
    bool wants_version;
    bool wants_list;
    const char *shown_path; // null: none is to be shown
    bool wants_tree;        // the tree below it
};

// Reads the command line; 0, or -1 after the mistake has been named on
// standard error.
int options_parse(int count, char **words, schemac_options *options);

// The text of --help.
extern const char options_help[];
