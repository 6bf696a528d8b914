// Messages of the schema compiler to the one who runs it.
#include "device/schemac/report.h"

#include <stdio.h>
#include <unistd.h>

#include "device/schemac/text_tools.h"

namespace
{

// An error may quote a whole statement of a broken module.
constexpr size_t longest_part = 1000;

} // namespace

void error_report_add(std::vector<error_report> *reports, const error_report &report)
{
    for (const error_report &known : *reports) {
        if (known.module == report.module && known.line == report.line &&
            known.cause == report.cause)
            return;
    }
    reports->push_back(report);
}

void report_error(const error_report &report)
{
    std::string module = cut_text(printable_text(report.module), longest_part);
    std::string cause = cut_text(printable_text(report.cause), longest_part);
    if (isatty(STDERR_FILENO) == 1) {
        fputs("\r\033[K", stderr); // a progress line may stand there
    }
    if (report.line > 0)
        fprintf(stderr, "schemac: %s: line %u: %s\n", module.c_str(), report.line, cause.c_str());
    else
        fprintf(stderr, "schemac: %s: %s\n", module.c_str(), cause.c_str());
}
