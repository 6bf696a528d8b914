// All modules go into one context and are compiled in one step, so that they
// see each other's augments and deviations. libyang asks for every text through
// a callback, so that this program knows which text it is reading and can say
// what is missing before libyang misses it.
#include "device/schemac/compile.h"

#include <algorithm>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <unordered_map>
#include <utility>

#include "device/schemac/extensions.h"
#include "device/schemac/features.h"
#include "device/schemac/includes.h"
#include "device/schemac/locate.h"

namespace
{

// The first thing that went wrong in a context, and what was read last.
struct compile_attempt {
    source_index *index;
    const compile_watch *watch;
    ly_ctx *context;
    compile_teller teller;
    const yang_source *current;
    bool has_failed;
    error_report error;
};

// libyang's log function has no argument of its own.
compile_attempt *running_attempt;

// Made before it is needed; null: none is.
ly_ctx *prepared_context;

void set_error(compile_attempt *attempt, const yang_source *source, unsigned line,
               const std::string &cause)
{
    if (attempt->has_failed)
        return;
    attempt->has_failed = true;
    attempt->error = {source != nullptr ? source->declared_name : "", line, cause};
    if (source != nullptr && source->declared_name.empty())
        attempt->error.module = source->name; // its text is no YANG
}

void log_message(LY_LOG_LEVEL level, const char *message, const char *path)
{
    compile_attempt *attempt = running_attempt;
    if (attempt == nullptr || attempt->has_failed || level != LY_LLERR)
        return;
    compile_teller_stop(&attempt->teller);
    error_place place = extensions_locate(attempt->index, attempt->current, message);
    if (place.source == nullptr)
        place = locate_error(attempt->index, attempt->current, path);
    std::string cause = message;
    if (path != nullptr && path[0] == '/' && path[1] != '\0')
        cause.append(" (").append(path).append(")");
    set_error(attempt, place.source, place.line, cause);
}

std::string missing_text(const compile_attempt *attempt, const std::string &name,
                         const std::string &revision)
{
    std::string text = "no module " + name + (revision.empty() ? "" : "@" + revision) + " in";
    for (const std::string &directory : attempt->index->directories)
        text.append(" ").append(directory);
    return text;
}

// Whether there is a module to load, in the index or among libyang's own.
bool is_known(const compile_attempt *attempt, const std::string &name, const std::string &revision)
{
    if (source_index_find(attempt->index, name, revision) != nullptr)
        return true;
    return revision.empty()
               ? ly_ctx_get_module_latest(attempt->context, name.c_str()) != nullptr
               : ly_ctx_get_module(attempt->context, name.c_str(), revision.c_str()) != nullptr;
}

// Notes the first import or include that nobody can serve, with its line.
void check_dependencies(compile_attempt *attempt, const yang_source *source)
{
    for (const yang_dependency &wanted : source->dependencies) {
        const bool is_there = wanted.is_include ? source_index_find(attempt->index, wanted.name,
                                                                    wanted.revision) != nullptr
                                                : is_known(attempt, wanted.name, wanted.revision);
        if (!is_there) {
            set_error(attempt, source, wanted.line,
                      std::string(wanted.is_include ? "include" : "import") + ": " +
                          missing_text(attempt, wanted.name, wanted.revision));
            return;
        }
    }
}

// A text is what it says itself, whatever its file is called.
void check_revision(const compile_attempt *attempt, const yang_source *source)
{
    if (source->is_used || source->named_revision.empty() ||
        source->named_revision == source->revision)
        return;
    const std::string revision = source->revision.empty() ? "none" : source->revision;
    attempt->watch->warning({source->declared_name, source->line,
                             "the revision is " + revision + ", not that of " + source->path});
}

// Hands a text to libyang.
LY_ERR serve_source(const char *module, const char *module_revision, const char *submodule,
                    const char *submodule_revision, void *user_data, LYS_INFORMAT *format,
                    const char **text, ly_module_imp_data_free_clb *free_text)
{
    auto *attempt = static_cast<compile_attempt *>(user_data);
    const char *name = submodule != nullptr ? submodule : module;
    const char *revision = submodule != nullptr ? submodule_revision : module_revision;
    yang_source *source =
        source_index_find(attempt->index, name, revision != nullptr ? revision : "");
    if (source == nullptr)
        return LY_ENOTFOUND;
    if (source->state == source_state::unreadable) {
        set_error(attempt, source, 0, source->path + ": " + strerror(source->failure));
        return LY_ENOTFOUND;
    }
    attempt->current = source;
    check_revision(attempt, source);
    source->is_used = true;
    if (source->text.empty()) {
        set_error(attempt, source, 1, source->path + " is empty");
        return LY_ENOTFOUND;
    }
    extensions_adapt(source);
    if (!source->is_submodule)
        includes_lift(attempt->index, source);
    check_dependencies(attempt, source);
    *format = LYS_IN_YANG;
    *text = source->text.c_str();
    *free_text = nullptr;
    return LY_SUCCESS;
}

// libyang carries its own ietf-yang-types and ietf-inet-types, and would prefer
// them to newer ones; they define nothing but types, so newer ones do no harm.
void prefer_newer_types(compile_attempt *attempt)
{
    for (const char *name : {"ietf-yang-types", "ietf-inet-types"}) {
        lys_module *built_in = ly_ctx_get_module_latest(attempt->context, name);
        const yang_source *source = source_index_find(attempt->index, name, "");
        if (built_in != nullptr && built_in->revision != nullptr && source != nullptr &&
            source->revision > built_in->revision)
            built_in->latest_revision = 0;
    }
}

context_ptr make_context(compile_attempt *attempt)
{
    compile_prepare();
    ly_ctx *context = std::exchange(prepared_context, nullptr);
    if (context == nullptr) {
        set_error(attempt, nullptr, 0, "cannot start libyang");
        attempt->error.module = "libyang";
        return nullptr;
    }
    attempt->context = context;
    ly_ctx_set_module_imp_clb(context, serve_source, attempt);
    prefer_newer_types(attempt);
    return context_ptr(context);
}

int fail_request(compile_attempt *attempt, const module_request &request, const std::string &cause)
{
    attempt->has_failed = true;
    attempt->error = {request.name, 0, cause};
    return -1;
}

// Turns on what is asked for of a module that has been loaded. Its imports have
// been read then, so that a mistake is said of it and of no import.
int enable_features(compile_attempt *attempt, const module_request &request, lys_module *module)
{
    if (request.features.empty())
        return 0;
    const std::string missing = features_missing(module, request.features);
    if (!missing.empty())
        return fail_request(attempt, request, missing);
    std::vector<const char *> features;
    for (const std::string &feature : request.features)
        features.push_back(feature.c_str());
    features.push_back(nullptr);
    attempt->current = source_index_find(attempt->index, request.name, request.revision);
    return lys_set_implemented(module, features.data()) == LY_SUCCESS ? 0 : -1;
}

int load_module(compile_attempt *attempt, const module_request &request)
{
    if (!is_known(attempt, request.name, request.revision))
        return fail_request(attempt, request,
                            missing_text(attempt, request.name, request.revision));
    const char *revision = request.revision.empty() ? nullptr : request.revision.c_str();
    attempt->current = source_index_find(attempt->index, request.name, request.revision);
    lys_module *module =
        ly_ctx_load_module(attempt->context, request.name.c_str(), revision, nullptr);
    if (module != nullptr && enable_features(attempt, request, module) == 0)
        return 0;
    set_error(attempt, attempt->current, 0, "libyang cannot load it");
    if (attempt->error.module.empty())
        attempt->error.module = request.name;
    return -1;
}

// The requests in an order in which none comes before one that imports it; otherwise as
// they were.
struct import_order {
    source_index *index;
    std::unordered_map<std::string, const module_request *> waiting; // by name
    std::unordered_map<std::string, unsigned> paths;                 // of imports, by name
    std::vector<module_request> requests;                            // the last one first
};

constexpr unsigned many_paths = 100000;

// How many paths of imports begin at one of the modules, at most many_paths; modules that
// import one another in a circle are not for here to judge.
unsigned count_paths(import_order *order, const module_request *request)
{
    const auto [known, is_new] = order->paths.emplace(request->name, 1);
    if (!is_new)
        return known->second;
    unsigned paths = 1;
    const yang_source *source = source_index_find(order->index, request->name, request->revision);
    for (size_t i = 0; source != nullptr && i < source->dependencies.size(); i++) {
        const auto needed = order->waiting.find(source->dependencies[i].name);
        if (needed != order->waiting.end())
            paths = std::min(paths + count_paths(order, needed->second), many_paths);
    }
    return order->paths[request->name] = paths;
}

void put_imports_first(import_order *order, const module_request *request)
{
    const yang_source *source = source_index_find(order->index, request->name, request->revision);
    const auto *dependencies = source != nullptr ? &source->dependencies : nullptr;
    order->waiting.erase(request->name);
    for (size_t i = dependencies != nullptr ? dependencies->size() : 0; i-- > 0;) {
        const auto needed = order->waiting.find((*dependencies)[i].name);
        if (needed != order->waiting.end())
            put_imports_first(order, needed->second);
    }
    order->requests.push_back(*request);
}

// When libyang is given a module, it follows all paths of imports between those that it
// has been given before. Only where there are very many is another order worth it: nodes
// that modules add to others come in the order of the modules.
std::vector<module_request> importers_first(source_index *index,
                                            const std::vector<module_request> &requests)
{
    import_order order = {index, {}, {}, {}};
    for (const module_request &request : requests) {
        const yang_source *source = source_index_find(index, request.name, request.revision);
        if (!request.revision.empty() && (source == nullptr || !source->is_pinned))
            return requests; // an importer might bring another revision
        order.waiting.emplace(request.name, &request);
    }
    if (!compile_may_reorder(index, requests))
        return requests;
    for (size_t i = requests.size(); i-- > 0;) {
        if (order.waiting.contains(requests[i].name))
            put_imports_first(&order, &requests[i]);
    }
    return {order.requests.rbegin(), order.requests.rend()};
}

// Gives each module that augments others and is going to be compiled an empty result
// beforehand, which libyang frees. When it adds a node to a choice at the top of another
// module, it looks into the result of the module that adds it, whether there is one or
// not. 0, or -1 with attempt->error set.
int prepare_results(compile_attempt *attempt)
{
    uint32_t position = 0;
    while (lys_module *module = ly_ctx_get_module_iter(attempt->context, &position)) {
        if (!module->implemented || module->compiled != nullptr || !has_augments(module))
            continue;
        module->compiled = static_cast<lysc_module *>(calloc(1, sizeof(lysc_module)));
        if (module->compiled == nullptr) {
            set_error(attempt, attempt->current, 0, strerror(ENOMEM));
            return -1;
        }
        module->compiled->mod = module;
    }
    return 0;
}

// Compiles these modules in the attempt's context, and takes out those that are not
// wanted; 0, or -1 with attempt->error set.
int try_modules(compile_attempt *attempt, std::vector<module_request> *given,
                feature_choice features)
{
    std::vector<module_request> requests = importers_first(attempt->index, *given);
    const size_t count = requests.size();
    for (size_t i = 0, number = 1; number <= count; number++) {
        if (!attempt->watch->reading(requests[i].name, number, count))
            requests.erase(requests.begin() + static_cast<ptrdiff_t>(i));
        else if (load_module(attempt, requests[i++]) != 0)
            return -1;
    }
    if (requests.size() < count)
        *given = requests;
    if (features == feature_choice_all)
        features_enable_all(attempt->context);
    // What libyang complained about and then overcame is no error.
    attempt->has_failed = false;
    if (prepare_results(attempt) != 0)
        return -1;
    compile_teller_start(&attempt->teller, attempt->context, attempt->watch->compiling);
    const LY_ERR result = ly_ctx_compile(attempt->context);
    compile_teller_stop(&attempt->teller);
    if (result == LY_SUCCESS)
        return 0;
    set_error(attempt, attempt->current, 0, "libyang cannot compile it");
    return -1;
}

// Asks for the modules that belong to the schema and were not compiled.
// libyang leaves them so when it learns only while it compiles that others need
// them. Returns how many there are.
size_t request_uncompiled(const ly_ctx *context, std::vector<module_request> *requests)
{
    const size_t before = requests->size();
    uint32_t position = 0;
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position)) {
        if (module->implemented && module->compiled == nullptr &&
            !is_requested(*requests, module->name))
            requests->push_back(
                {module->name, module->revision != nullptr ? module->revision : "", {}});
    }
    return requests->size() - before;
}

} // namespace

bool has_augments(const lys_module *module)
{
    const lysp_module *parsed = module->parsed;
    if (parsed == nullptr)
        return false;
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(parsed->includes); i++) {
        if (parsed->includes[i].submodule != nullptr &&
            parsed->includes[i].submodule->augments != nullptr)
            return true;
    }
    return parsed->augments != nullptr;
}

void compile_prepare()
{
    constexpr uint16_t options = LY_CTX_REF_IMPLEMENTED | LY_CTX_NO_YANGLIBRARY |
                                 LY_CTX_DISABLE_SEARCHDIRS | LY_CTX_SET_PRIV_PARSED |
                                 LY_CTX_EXPLICIT_COMPILE;
    if (prepared_context == nullptr &&
        ly_ctx_new(nullptr, options, &prepared_context) != LY_SUCCESS)
        prepared_context = nullptr;
}

bool compile_may_reorder(source_index *index, const std::vector<module_request> &requests)
{
    import_order order = {index, {}, {}, {}};
    for (const module_request &request : requests)
        order.waiting.emplace(request.name, &request);
    unsigned paths = 0;
    for (size_t i = 0; i < requests.size() && paths < many_paths; i++)
        paths += count_paths(&order, &requests[i]);
    return paths >= many_paths;
}

context_ptr compile_modules(source_index *index, std::vector<module_request> requests,
                            feature_choice features, const compile_watch *watch,
                            error_report *error)
{
    ly_log_level(LY_LLERR);
    ly_set_log_clb(log_message, 1);
    compile_attempt attempt = {};
    attempt.index = index;
    attempt.watch = watch;
    running_attempt = &attempt;
    context_ptr context;
    do {
        context.reset();
        context = make_context(&attempt);
        if (context == nullptr || try_modules(&attempt, &requests, features) != 0) {
            *error = attempt.error;
            context.reset();
        }
    } while (context != nullptr && request_uncompiled(context.get(), &requests) > 0);
    running_attempt = nullptr;
    return context;
}
