#include "device/schemac/requests.h"

#include <algorithm>
#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unordered_map>
#include <utility>

#include "device/schemac/report.h"

namespace
{

struct request_list {
    std::vector<module_request> all;
    std::unordered_map<std::string, size_t> places; // by name
};

int open_directory(source_index *index, const char *directory, bool is_deep)
{
    if (source_index_add_directory(index, directory, is_deep) == 0)
        return 0;
    report_error({directory, 0, strerror(errno)});
    return -1;
}

int open_directories(const schemac_options *options, source_index *index)
{
    if (options->directories.empty())
        return open_directory(index, ".", false);
    for (const char *directory : options->directories) {
        if (open_directory(index, directory, true) != 0)
            return -1;
    }
    return 0;
}

// Adds a request, or its features to the one for the same module.
int add_request(source_index *index, module_request request, request_list *requests)
{
    const yang_source *source = source_index_find(index, request.name, request.revision);
    if (source != nullptr && source->is_submodule) {
        if (source->belongs_to.empty()) {
            report_error({request.name, source->line, "a submodule of no module"});
            return -1;
        }
        request.name = source->belongs_to;
        request.revision.clear();
    } else if (source != nullptr && !request.revision.empty()) {
        request.revision = source->revision; // which the file name may not tell
    }
    const auto [known, is_new] = requests->places.emplace(request.name, requests->all.size());
    if (is_new)
        requests->all.push_back({request.name, request.revision, {}});
    std::vector<std::string> *features = &requests->all[known->second].features;
    features->insert(features->end(), request.features.begin(), request.features.end());
    return 0;
}

const yang_source *open_file(source_index *index, const char *path)
{
    const yang_source *source = source_index_add_file(index, path);
    if (source == nullptr)
        report_error({path, 0, errno == EINVAL ? "not a .yang file" : strerror(errno)});
    return source;
}

// Every module in the directory, as if its files were named, but of each only
// the newest revision.
int add_directory(source_index *index, std::string directory, request_list *requests)
{
    while (directory.size() > 1 && directory.back() == '/')
        directory.pop_back();
    if (open_directory(index, directory.c_str(), false) != 0)
        return -1;
    std::vector<std::string> names;
    for (const std::string &path : source_index_paths_in(index, directory)) {
        const yang_source *source = open_file(index, path.c_str());
        if (source == nullptr)
            return -1;
        if (!source->is_submodule)
            names.push_back(source->name);
    }
    for (const std::string &name : names) {
        if (add_request(index, {name, "", {}}, requests) != 0)
            return -1;
    }
    if (!names.empty())
        return 0;
    report_error({directory, 0, "no module in it"});
    return -1;
}

bool is_directory(const char *path)
{
    struct stat status;
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// The path of a file or directory, NAME or NAME@REVISION. A name that stands
// for a module and for a directory is the module's, and so is one with an "@".
int add_word(source_index *index, const char *word, request_list *requests)
{
    const std::string text = word;
    const size_t mark = text.find('@');
    const std::string name = text.substr(0, mark);
    const std::string revision = mark == std::string::npos ? "" : text.substr(mark + 1);
    const bool is_path = text.find('/') != std::string::npos;
    const bool may_be_directory =
        mark == std::string::npos && source_index_find(index, name, revision) == nullptr;
    if ((is_path || may_be_directory) && is_directory(word))
        return add_directory(index, text, requests);
    if (!is_path && !text.ends_with(".yang"))
        return add_request(index, {name, revision, {}}, requests);
    const yang_source *source = open_file(index, word);
    return source != nullptr ? add_request(index, {source->name, source->revision, {}}, requests)
                             : -1;
}

} // namespace

bool is_requested(const std::vector<module_request> &requests, const char *name)
{
    return std::any_of(requests.begin(), requests.end(),
                       [name](const module_request &one) { return one.name == name; });
}

int make_requests(const schemac_options *options, source_index *index,
                  std::vector<module_request> *requests)
{
    if (open_directories(options, index) != 0)
        return -1;
    request_list list;
    for (const char *word : options->modules) {
        if (add_word(index, word, &list) != 0)
            return -1;
    }
    // A module that only --feature names is compiled like the others.
    for (const feature_option &feature : options->features.named) {
        if (add_request(index, {feature.module, "", {feature.feature}}, &list) != 0)
            return -1;
    }
    *requests = std::move(list.all);
    return 0;
}
