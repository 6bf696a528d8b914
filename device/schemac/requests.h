// Which modules are to be compiled, with which features.
#pragma once

#include <string>
#include <vector>

#include "device/schemac/options.h"
#include "device/schemac/source_index.h"

struct module_request {
    std::string name;
    std::string revision;              // empty: the newest
    std::vector<std::string> features; // to be enabled; "*" means all
};

bool is_requested(const std::vector<module_request> &requests, const char *name);

// Opens the directories that the options name and finds out what they ask for.
// A module is asked for once; a submodule stands for its module. Returns 0, or
// -1 after the cause has been printed.
int make_requests(const schemac_options *options, source_index *index,
                  std::vector<module_request> *requests);
