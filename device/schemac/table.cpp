#include "device/schemac/table.h"

#include <algorithm>
#include <stdio.h>

#include "code_point.h"
#include "device/schemac/text_tools.h"

namespace
{

// How many characters a printable text has.
size_t width_of(const std::string &text)
{
    return text.size() -
           static_cast<size_t>(std::count_if(text.begin(), text.end(), code_point_continues));
}

std::string padded(const std::string &text, size_t width, bool is_right)
{
    const std::string gap(width - width_of(text), ' ');
    return is_right ? gap + text : text + gap;
}

} // namespace

void table_print(const std::vector<table_row> &rows, const std::string &alignment)
{
    std::vector<size_t> widths(alignment.size(), 0);
    for (const table_row &row : rows) {
        for (size_t i = 0; i < row.size(); i++)
            widths[i] = std::max(widths[i], width_of(printable_text(row[i])));
    }
    for (const table_row &row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); i++) {
            line.append(i > 0 ? "  " : "");
            line.append(padded(printable_text(row[i]), widths[i], alignment[i] == 'r'));
        }
        line.erase(line.find_last_not_of(' ') + 1);
        printf("%s\n", line.c_str());
    }
}
