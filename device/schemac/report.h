// Messages of the schema compiler to the one who runs it.
#ifndef VANDEL_SCHEMAC_REPORT_H
#define VANDEL_SCHEMAC_REPORT_H

#include <string>
#include <vector>

struct error_report {
    std::string module;
    unsigned line; // 0: the error stands in no line
    std::string cause;
};

// Adds a report unless the same one is there already.
void error_report_add(std::vector<error_report> *reports, const error_report &report);

// Prints "schemac: MODULE: line LINE: CAUSE" on standard error, without the
// line when it is 0. Control characters are shown as '?': the texts come from
// files that anybody may have written.
void report_error(const error_report &report);

#endif
