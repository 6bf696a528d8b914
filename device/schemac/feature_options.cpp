// Which features the command line asks for.
#include "device/schemac/feature_options.h"

#include <errno.h>
#include <memory>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "device/schemac/report.h"
#include "device/schemac/text_tools.h"

namespace
{

struct file_deleter {
    void operator()(FILE *file) const
    {
        fclose(file);
    }
};

struct read_line {
    char *text;
    size_t size;
    ~read_line()
    {
        free(text);
    }
};

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
    const std::unique_ptr<FILE, file_deleter> file(fopen(path, "re"));
    read_line line = {nullptr, 0};
    options->is_told = true;
    for (unsigned number = 1; file != nullptr; number++) {
        if (getline(&line.text, &line.size, file.get()) < 0)
            break;
        if (add_line(options, path, number, line.text) != 0)
            return -1;
    }
    if (file != nullptr && feof(file.get()) != 0)
        return 0;
    report_error({path, 0, strerror(errno)});
    return -1;
}
