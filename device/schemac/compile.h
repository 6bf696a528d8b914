// Compiles YANG modules with libyang.
#pragma once

#include <libyang/libyang.h>
#include <string>
#include <vector>

#include "device/schemac/compile_teller.h"
#include "device/schemac/report.h"
#include "device/schemac/requests.h"
#include "device/schemac/source_index.h"
#include "heap.h"

using context_ptr = released_ptr<ly_ctx, ly_ctx_destroy>;

// Who is told meanwhile.
struct compile_watch {
    // Before a module is read, the first one with number 1; false: it is not wanted.
    bool (*reading)(const std::string &module, size_t number, size_t count);
    compile_told compiling;
    void (*warning)(const error_report &report);
};

// Which features are on.
enum feature_choice {
    feature_choice_named, // those of the requests
    feature_choice_all,   // those of all modules
};

// Makes what the next compilation begins with, in this process or in each of the children
// that it then has. Where that fails, the compilation does.
void compile_prepare();

// Whether they may be read in another order; where not, no part of them is.
bool compile_may_reorder(source_index *index, const std::vector<module_request> &requests);

// Compiles the modules together with all that they need. Returns the context
// that holds them, or null with the first error.
context_ptr compile_modules(source_index *index, std::vector<module_request> requests,
                            feature_choice features, const compile_watch *watch,
                            error_report *error);

// Whether the module, or a submodule of it, augments anything.
bool has_augments(const lys_module *module);
