#include "device/schemac/report.h"

#include <stdio.h>

#include "device/schemac/text_tools.h"

namespace
{

// An error may quote a whole statement of a broken module.
constexpr size_t longest_part = 1000;

} // namespace

std::string report_part(const std::string &text)
{
    return cut_text(printable_text(text), longest_part);
}

std::string report_text(const error_report &report)
{
    const std::string line = report.line > 0 ? "line " + std::to_string(report.line) + ": " : "";
    return "schemac: " + report_part(report.module) + ": " + line + report_part(report.cause);
}

void report_error(const error_report &report)
{
    fprintf(stderr, "%s\n", report_text(report).c_str());
}
