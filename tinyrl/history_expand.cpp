// References to earlier lines: "!!", "!NUMBER" and "!-COUNT".
//
// A reference takes the whole run of digits, minus signs and exclamation marks
// with it. A number that names no entry leaves the run as it stands; a mark
// without a number ends the result.
#include "tinyrl/history.h"

#include <errno.h>
#include <limits.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "tinyrl/history_record.h"
#include "tinyrl/memory.h"

namespace
{

// Text that grows; is_whole is false once memory ran out.
struct expansion {
    heap_text text;
    size_t length;
    size_t size;
    bool is_whole;
};

void append(struct expansion *expansion, const char *text, size_t length)
{
    if (!expansion->is_whole || length > SIZE_MAX / 2 - expansion->length - 1) {
        expansion->is_whole = false;
        return;
    }
    const size_t needed = expansion->length + length + 1;
    if (needed > expansion->size) {
        void *grown = realloc(expansion->text.get(), needed * 2);
        if (grown == nullptr) {
            expansion->is_whole = false;
            return;
        }
        (void)expansion->text.release();
        expansion->text.reset(static_cast<char *>(grown));
        expansion->size = needed * 2;
    }
    char *end = expansion->text.get() + expansion->length;
    memcpy_s(end, expansion->size - expansion->length, text, length);
    end[length] = '\0';
    expansion->length += length;
}

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
    struct expansion expansion = {nullptr, 0, 0, true};
    bool is_expanded = false;
    const char *copied = text; // what stands before it is in the result
    const char *at = text;
    long long number = 0;
    append(&expansion, "", 0);
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
            append(&expansion, copied, static_cast<size_t>(at - copied));
            append(&expansion, entry->line, strlen(entry->line));
            copied = at + run;
            is_expanded = true;
        }
        // The character after a reference is not looked at.
        at += run;
        at += *at != '\0' ? 1 : 0;
    }
    append(&expansion, copied, static_cast<size_t>(at - copied));
    *result = expansion.is_whole ? expansion.text.release() : nullptr;
    return is_expanded;
}
