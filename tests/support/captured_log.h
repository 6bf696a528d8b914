// What the code under test writes to the system log.
//
// The unit tests link this syslog in place of the C library's. It keeps every
// line with the priority that the log would have stored.
#pragma once

#include <string>
#include <utility>
#include <vector>

using log_lines = std::vector<std::pair<int, std::string>>;

// The lines since the last call, oldest first.
log_lines captured_log_take();

// Ident, option and facility of the last openlog: "", 0, 0 before the first.
std::string captured_log_ident();
int captured_log_option();
int captured_log_facility();
