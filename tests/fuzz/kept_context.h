// A libyang context that serves many inputs.
//
// Parsing its own modules costs libyang two milliseconds for each context, a
// hundred times what a text costs that it refuses. After a refusal libyang takes
// out of the context all that the texts brought in, so the next input gets the
// same context. What compiles cannot be taken out: that context ends.
//
// These functions stand before libyang's own of the same name.
#pragma once

#include <dlfcn.h>
#include <libyang/libyang.h>

#include "tests/fuzz/fuzz_check.h"

// A finding depends on so many inputs before it at most.
constexpr unsigned inputs_per_context = 1000;

struct kept_context {
    ly_ctx *context; // null while it is in use
    uint16_t options;
    unsigned inputs;
    unsigned implemented; // of libyang's own modules
};

inline kept_context &kept()
{
    static kept_context one;
    return one;
}

inline unsigned count_implemented(const ly_ctx *context)
{
    unsigned count = 0;
    uint32_t position = 0;
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position))
        count += module->implemented;
    return count;
}

// Whether nothing is left of what was read.
inline bool is_as_made(const ly_ctx *context)
{
    uint32_t last = ly_ctx_internal_modules_count(context);
    return ly_ctx_get_module_iter(context, &last) == nullptr &&
           count_implemented(context) == kept().implemented;
}

template <class Function>
Function libyang_function(const char *name)
{
    void *found = dlsym(RTLD_NEXT, name);
    fuzz_require(found != nullptr, "libyang has the function");
    return reinterpret_cast<Function>(found);
}

extern "C" __attribute__((visibility("default"))) LY_ERR ly_ctx_new(const char *directory,
                                                                    uint16_t options, ly_ctx **made)
{
    static const auto make = libyang_function<decltype(&ly_ctx_new)>("ly_ctx_new");
    fuzz_require(directory == nullptr, "no directory is searched");
    if (kept().context != nullptr && kept().options == options) {
        *made = kept().context;
        kept().context = nullptr;
        return LY_SUCCESS;
    }
    const LY_ERR result = make(directory, options, made);
    if (result == LY_SUCCESS)
        kept() = {nullptr, options, 0, count_implemented(*made)};
    return result;
}

extern "C" __attribute__((visibility("default"))) void ly_ctx_destroy(ly_ctx *context)
{
    static const auto destroy = libyang_function<decltype(&ly_ctx_destroy)>("ly_ctx_destroy");
    if (kept().context != nullptr || kept().inputs++ == inputs_per_context ||
        !is_as_made(context)) {
        destroy(context);
        return;
    }
    ly_err_clean(context, nullptr);
    kept().context = context;
}
