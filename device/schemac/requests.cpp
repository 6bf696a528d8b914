// Which modules are to be compiled, with which features.
#include "device/schemac/requests.h"

#include <errno.h>
#include <string.h>

#include "device/schemac/report.h"

namespace
{

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

module_request *find_request(std::vector<module_request> *requests, const std::string &name)
{
    for (module_request &request : *requests) {
        if (request.name == name)
            return &request;
    }
    return nullptr;
}

// Adds a request, or its features to the one for the same module.
int add_request(source_index *index, module_request request, std::vector<module_request> *requests)
{
    const yang_source *source = source_index_find(index, request.name, request.revision);
    if (source != nullptr && source->is_submodule) {
        if (source->belongs_to.empty()) {
            report_error({request.name, source->line, "a submodule of no module"});
            return -1;
        }
        request.name = source->belongs_to;
        request.revision.clear();
    }
    module_request *known = find_request(requests, request.name);
    if (known != nullptr)
        known->features.insert(known->features.end(), request.features.begin(),
                               request.features.end());
    else
        requests->push_back(request);
    return 0;
}

int add_file(source_index *index, const char *path, std::vector<module_request> *requests)
{
    const yang_source *source = source_index_add_file(index, path);
    if (source == nullptr) {
        report_error({path, 0, errno == EINVAL ? "not a .yang file" : strerror(errno)});
        return -1;
    }
    return add_request(index, {source->name, source->revision, {}}, requests);
}

// NAME, NAME@REVISION, or the path of a file.
int add_word(source_index *index, const char *word, std::vector<module_request> *requests)
{
    const std::string_view text = word;
    if (text.find('/') != std::string_view::npos || text.ends_with(".yang"))
        return add_file(index, word, requests);
    const size_t mark = text.find('@');
    const std::string_view revision = mark == std::string_view::npos ? "" : text.substr(mark + 1);
    return add_request(index, {std::string(text.substr(0, mark)), std::string(revision), {}},
                       requests);
}

} // namespace

int make_requests(const schemac_options *options, source_index *index,
                  std::vector<module_request> *requests)
{
    if (open_directories(options, index) != 0)
        return -1;
    for (const char *word : options->modules) {
        if (add_word(index, word, requests) != 0)
            return -1;
    }
    // A module that only --feature names is compiled like the others.
    for (const feature_option &feature : options->features) {
        if (add_request(index, {feature.module, "", {feature.feature}}, requests) != 0)
            return -1;
    }
    return 0;
}
