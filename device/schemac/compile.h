// Compiles YANG modules with libyang.
#ifndef VANDEL_SCHEMAC_COMPILE_H
#define VANDEL_SCHEMAC_COMPILE_H

#include <libyang/libyang.h>
#include <memory>
#include <string>
#include <vector>

#include "device/schemac/source_index.h"

struct module_request {
    std::string name;
    std::string revision;              // empty: the newest
    std::vector<std::string> features; // to be enabled; "*" means all
};

struct context_deleter {
    void operator()(ly_ctx *context) const
    {
        ly_ctx_destroy(context);
    }
};
using context_ptr = std::unique_ptr<ly_ctx, context_deleter>;

// Called with the name of each module before it is worked at.
using compile_watch = void (*)(const char *module);

// Compiles the modules together with all that they need. Returns the context
// that holds them, or null after every module that is broken has been named on
// standard error, with the line and the cause. Requests for submodules are
// changed into one for their module.
context_ptr compile_modules(source_index *index, std::vector<module_request> *requests,
                            compile_watch watch);

#endif
