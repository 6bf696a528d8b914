// References to earlier lines: "!!", "!NUMBER" and "!-COUNT".
//
// A reference takes the whole run of digits, minus signs and exclamation marks
// with it. A number that names no entry leaves the run as it stands; a mark
// without a number ends the result.
#include "tinyrl/history.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace
{

// Reads what follows the mark at reference into *number, the number of the entry
// meant; 0, or -1 when nothing names one.
int read_target(const struct history *history, const char *reference, long long *number)
{
    const long long current = history->current_index;
    if (reference[1] == '!') {
        *number = current - 1;
        return 0;
    }
    char *end = nullptr;
    const long value = strtol(reference + 1, &end, 10);
    if (end == reference + 1)
        return -1;
    *number = value < 0 ? current + value : value;
    return 0;
}

const history_entry *find_target(const struct history *history, long long number)
{
    return number >= 0 && number <= UINT_MAX ? history_get(history, static_cast<unsigned>(number))
                                             : nullptr;
}

} // namespace

bool history_expand(const struct history *history, const char *text, char **result)
{
    *result = nullptr;
    char *expanded = nullptr;
    size_t size = 0;
    FILE *out = open_memstream(&expanded, &size);
    if (out == nullptr)
        return false;
    bool is_expanded = false;
    const char *copied = text; // what stands before it is in the result
    const char *at = text;
    long long number = 0;
    while (*at != '\0') {
        if (*at != '!') {
            at++;
            continue;
        }
        if (read_target(history, at, &number) != 0)
            break;
        const size_t run = strspn(at, "!-0123456789");
        const history_entry *entry = find_target(history, number);
        if (entry != nullptr) {
            fwrite(copied, 1, static_cast<size_t>(at - copied), out);
            fputs(entry->line, out);
            copied = at + run;
            is_expanded = true;
        }
        // The character after a reference is not looked at.
        at += run;
        at += *at != '\0' ? 1 : 0;
    }
    fwrite(copied, 1, static_cast<size_t>(at - copied), out);
    const bool is_whole = ferror(out) == 0;
    if (fclose(out) == 0 && is_whole)
        *result = expanded;
    else
        free(expanded);
    return is_expanded;
}
