// Texts in columns.
#ifndef VANDEL_SCHEMAC_TABLE_H
#define VANDEL_SCHEMAC_TABLE_H

#include <string>
#include <vector>

// One text for each column.
using table_row = std::vector<std::string>;

// Prints the rows on standard output, each column as wide as its widest text and
// two blanks before the next; no blanks at the ends of lines. Texts of columns
// whose letter in alignment is 'r' stand at the right. What a terminal would obey
// is shown as '?'. There are as many letters as columns.
void table_print(const std::vector<table_row> &rows, const std::string &alignment);

#endif
