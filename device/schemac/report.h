// Messages of the schema compiler to the one who runs it.
#pragma once

#include <string>

struct error_report {
    std::string module;
    unsigned line; // 0: the error stands in no line
    std::string cause;
};

// A name or a cause as a message has it.
std::string report_part(const std::string &text);

// "schemac: MODULE: line LINE: CAUSE", without the line when it is 0. Control
// characters are shown as '?': the texts come from files that anybody may have
// written.
std::string report_text(const error_report &report);

// Prints the text as a line on standard error.
void report_error(const error_report &report);
