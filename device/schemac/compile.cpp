// Compiles YANG modules with libyang.
//
// All modules go into one context and are compiled in one step, so that they
// see each other's augments and deviations. libyang stops at the first error;
// to name every broken module, each is then compiled once more by itself, and
// only what fails in all of them together is reported as such. libyang asks for
// every text through a callback, so that this program knows which text it is
// reading and can say what is missing before libyang misses it.
#include "device/schemac/compile.h"

#include <string.h>

#include "device/schemac/locate.h"
#include "device/schemac/report.h"

namespace
{

// The first thing that went wrong in a context, and what was read last.
struct compile_attempt {
    source_index *index;
    ly_ctx *context;
    const yang_source *current;
    bool has_failed;
    error_report error;
};

// libyang's log function has no argument of its own.
compile_attempt *running_attempt;

void set_error(compile_attempt *attempt, const yang_source *source, unsigned line,
               const std::string &cause)
{
    if (attempt->has_failed)
        return;
    attempt->has_failed = true;
    attempt->error = {source != nullptr ? source->declared_name : "", line, cause};
}

void log_message(LY_LOG_LEVEL level, const char *message, const char *path)
{
    compile_attempt *attempt = running_attempt;
    if (attempt == nullptr || attempt->has_failed || level != LY_LLERR)
        return;
    error_place place = locate_error(attempt->index, attempt->current, path);
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

bool is_known(const compile_attempt *attempt, const yang_dependency &wanted)
{
    if (source_index_find(attempt->index, wanted.name, wanted.revision) != nullptr)
        return true;
    if (wanted.is_include)
        return false;
    const char *revision = wanted.revision.empty() ? nullptr : wanted.revision.c_str();
    return revision != nullptr
               ? ly_ctx_get_module(attempt->context, wanted.name.c_str(), revision) != nullptr
               : ly_ctx_get_module_latest(attempt->context, wanted.name.c_str()) != nullptr;
}

// Notes the first import or include that nobody can serve, with its line.
void check_dependencies(compile_attempt *attempt, const yang_source *source)
{
    for (const yang_dependency &wanted : source->dependencies) {
        if (!is_known(attempt, wanted)) {
            set_error(attempt, source, wanted.line,
                      std::string(wanted.is_include ? "include" : "import") + ": " +
                          missing_text(attempt, wanted.name, wanted.revision));
            return;
        }
    }
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
    source->is_used = true;
    if (source->text.empty()) {
        set_error(attempt, source, 1, source->path + " is empty");
        return LY_ENOTFOUND;
    }
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
    constexpr uint16_t options = LY_CTX_REF_IMPLEMENTED | LY_CTX_NO_YANGLIBRARY |
                                 LY_CTX_DISABLE_SEARCHDIRS | LY_CTX_SET_PRIV_PARSED |
                                 LY_CTX_EXPLICIT_COMPILE;
    ly_ctx *context = nullptr;
    if (ly_ctx_new(nullptr, options, &context) != LY_SUCCESS) {
        set_error(attempt, nullptr, 0, "cannot start libyang");
        attempt->error.module = "libyang";
        return nullptr;
    }
    attempt->context = context;
    ly_ctx_set_module_imp_clb(context, serve_source, attempt);
    prefer_newer_types(attempt);
    return context_ptr(context);
}

bool load_module(compile_attempt *attempt, const module_request &request)
{
    std::vector<const char *> features;
    for (const std::string &feature : request.features)
        features.push_back(feature.c_str());
    features.push_back(nullptr);
    const char *revision = request.revision.empty() ? nullptr : request.revision.c_str();
    attempt->current = source_index_find(attempt->index, request.name, request.revision);
    const lys_module *module =
        ly_ctx_load_module(attempt->context, request.name.c_str(), revision, features.data());
    if (module != nullptr)
        return true;
    set_error(attempt, attempt->current, 0, "libyang cannot load it");
    if (attempt->error.module.empty())
        attempt->error.module = request.name;
    return false;
}

// Compiles these modules in the attempt's context; false with attempt->error set.
bool try_modules(compile_attempt *attempt, const std::vector<module_request> &requests,
                 compile_watch watch)
{
    running_attempt = attempt;
    bool is_good = true;
    for (size_t i = 0; is_good && i < requests.size(); i++) {
        watch(requests[i].name.c_str());
        is_good = load_module(attempt, requests[i]);
    }
    if (is_good) {
        // What libyang complained about and then overcame is no error.
        attempt->has_failed = false;
        is_good = ly_ctx_compile(attempt->context) == LY_SUCCESS;
        if (!is_good)
            set_error(attempt, attempt->current, 0, "libyang cannot compile it");
    }
    running_attempt = nullptr;
    return is_good;
}

// The module that a request stands for; false when it is a submodule of none.
bool settle_name(source_index *index, module_request *request)
{
    const yang_source *source = source_index_find(index, request->name, request->revision);
    if (source == nullptr || !source->is_submodule)
        return true;
    if (source->belongs_to.empty()) {
        report_error({request->name, source->line, "a submodule of no module"});
        return false;
    }
    request->name = source->belongs_to;
    request->revision.clear();
    return true;
}

// Adds a request, or its features to the one for the same module.
void merge_request(std::vector<module_request> *requests, const module_request &added)
{
    for (module_request &request : *requests) {
        if (request.name == added.name) {
            request.features.insert(request.features.end(), added.features.begin(),
                                    added.features.end());
            return;
        }
    }
    requests->push_back(added);
}

// Replaces submodules by their modules, and names what nobody can serve.
bool settle_requests(const compile_attempt *attempt, std::vector<module_request> *requests)
{
    bool is_good = true;
    std::vector<module_request> settled;
    for (module_request request : *requests) {
        if (!settle_name(attempt->index, &request)) {
            is_good = false;
        } else if (!is_known(attempt, {false, request.name, request.revision, 0})) {
            report_error({request.name, 0, missing_text(attempt, request.name, request.revision)});
            is_good = false;
        } else {
            merge_request(&settled, request);
        }
    }
    *requests = std::move(settled);
    return is_good;
}

// Names every module that fails by itself, once; else the failure of all.
void report_failures(source_index *index, const std::vector<module_request> &requests,
                     const error_report &together, compile_watch watch)
{
    std::vector<error_report> reports;
    for (size_t i = 0; requests.size() > 1 && i < requests.size(); i++) {
        compile_attempt attempt = {};
        attempt.index = index;
        const context_ptr context = make_context(&attempt);
        if (context == nullptr || !try_modules(&attempt, {requests[i]}, watch))
            error_report_add(&reports, attempt.error);
    }
    if (reports.empty())
        reports.push_back(together);
    for (const error_report &report : reports)
        report_error(report);
}

} // namespace

context_ptr compile_modules(source_index *index, std::vector<module_request> *requests,
                            compile_watch watch)
{
    ly_log_level(LY_LLERR);
    ly_set_log_clb(log_message, 1);
    compile_attempt attempt = {};
    attempt.index = index;
    context_ptr context = make_context(&attempt);
    if (context == nullptr) {
        report_error(attempt.error);
        return nullptr;
    }
    if (!settle_requests(&attempt, requests))
        return nullptr;
    if (!try_modules(&attempt, *requests, watch)) {
        report_failures(index, *requests, attempt.error, watch);
        return nullptr;
    }
    return context;
}
