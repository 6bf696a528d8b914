#include "device/schemac/feature_options.h"

#include <errno.h>
#include <fstream>
#include <string.h>

#include "device/schemac/report.h"
#include "device/schemac/text_tools.h"

namespace
{

int add_line(feature_options *options, const char *path, unsigned number, const std::string &line)
{
    const std::string text = fold_text(line.substr(0, line.find('#')));
    if (text.empty() || feature_options_add(options, text) == 0)
        return 0;
    report_error({path, number, "MODULE:FEATURE expected, not " + text});
    return -1;
}

} // namespace

int feature_options_add(feature_options *options, const std::string &text)
{
    options->is_told = true;
    const size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size())
        return -1;
    const feature_option option = {text.substr(0, colon), text.substr(colon + 1)};
    if (option.module != "*")
        options->named.push_back(option);
    else if (option.feature == "*")
        options->is_all = true;
    else
        return -1;
    return 0;
}

int feature_options_add_file(feature_options *options, const char *path)
{
    std::ifstream file(path);
    std::string line;
    options->is_told = true;
    for (unsigned number = 1; std::getline(file, line); number++) {
        if (add_line(options, path, number, line) != 0)
            return -1;
    }
    if (file.eof())
        return 0;
    report_error({path, 0, strerror(errno)});
    return -1;
}
