#include "device/schemac/yang_cursor.h"

#include <algorithm>

namespace
{

constexpr std::string_view blanks = " \t\r\n";

// Takes so much of the rest, or all of it.
std::string_view take(yang_cursor *cursor, size_t size)
{
    const std::string_view taken = cursor->rest.substr(0, size);
    cursor->line += static_cast<unsigned>(std::count(taken.begin(), taken.end(), '\n'));
    cursor->rest.remove_prefix(taken.size());
    return taken;
}

// Takes what follows when it is this.
bool take_if(yang_cursor *cursor, char letter)
{
    const bool is_next = cursor->rest.starts_with(letter);
    take(cursor, is_next ? 1 : 0);
    return is_next;
}

// Skips blanks and comments.
void skip_gap(yang_cursor *cursor)
{
    for (;;) {
        take(cursor, cursor->rest.find_first_not_of(blanks));
        if (cursor->rest.starts_with("//")) {
            take(cursor, cursor->rest.find('\n'));
        } else if (cursor->rest.starts_with("/*")) {
            take(cursor, cursor->rest.find("*/", 2));
            take(cursor, 2);
        } else {
            return;
        }
    }
}

std::string_view read_word(yang_cursor *cursor)
{
    return take(cursor, cursor->rest.find_first_of(" \t\r\n;{}\"'"));
}

bool at_quote(const yang_cursor *cursor)
{
    return cursor->rest.starts_with('"') || cursor->rest.starts_with('\'');
}

// Appends what stands between the quotes; false when the text ends first.
bool read_quoted(yang_cursor *cursor, std::string *argument)
{
    const char quote = take(cursor, 1).front();
    const char *ends = quote == '"' ? "\"\\" : "'";
    while (!cursor->rest.empty()) {
        argument->append(take(cursor, cursor->rest.find_first_of(ends)));
        if (take_if(cursor, quote))
            return true;
        if (cursor->rest.size() > 1)
            take_if(cursor, '\\');
        argument->append(take(cursor, 1));
    }
    return false;
}

bool read_argument(yang_cursor *cursor, std::string *argument)
{
    argument->clear();
    if (!at_quote(cursor)) {
        argument->append(read_word(cursor));
        return true;
    }
    do {
        skip_gap(cursor);
        if (!at_quote(cursor) || !read_quoted(cursor, argument))
            return false;
        skip_gap(cursor);
    } while (take_if(cursor, '+'));
    return true;
}

} // namespace

yang_cursor yang_open(std::string_view text)
{
    return {text, 1, 0};
}

bool yang_next(yang_cursor *cursor, yang_statement *statement)
{
    skip_gap(cursor);
    while (take_if(cursor, '}')) {
        cursor->depth -= cursor->depth > 0 ? 1 : 0;
        skip_gap(cursor);
    }
    statement->line = cursor->line;
    statement->depth = cursor->depth;
    statement->keyword = read_word(cursor);
    if (statement->keyword.empty())
        return false;
    skip_gap(cursor);
    if (!read_argument(cursor, &statement->argument))
        return false;
    skip_gap(cursor);
    if (take_if(cursor, ';'))
        return true;
    cursor->depth += cursor->rest.starts_with('{') ? 1 : 0;
    return take_if(cursor, '{');
}

bool yang_next_within(yang_cursor *cursor, unsigned depth, yang_statement *statement)
{
    while (cursor->depth > depth) {
        skip_gap(cursor);
        if (!take_if(cursor, '}'))
            return yang_next(cursor, statement);
        cursor->depth--;
    }
    return false;
}
