#include "device/schemac/yang_cursor.h"

#include <algorithm>
#include <functional>

namespace
{

bool is_blank(char letter)
{
    return letter == ' ' || letter == '\t' || letter == '\r' || letter == '\n';
}

bool ends_word(char letter)
{
    return is_blank(letter) || letter == ';' || letter == '{' || letter == '}' || letter == '"' ||
           letter == '\'';
}

// Takes so much of the rest, or all of it.
std::string_view take(yang_cursor *cursor, size_t size)
{
    const std::string_view taken = cursor->rest.substr(0, size);
    cursor->rest.remove_prefix(taken.size());
    return taken;
}

// Takes what comes before the first letter for which this is true, or all of the rest.
template <class Question>
std::string_view take_until(yang_cursor *cursor, Question is_end)
{
    const std::string_view rest = cursor->rest;
    const auto end = std::find_if(rest.begin(), rest.end(), is_end);
    return take(cursor, static_cast<size_t>(end - rest.begin()));
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
        take_until(cursor, std::not_fn(is_blank));
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
    return take_until(cursor, ends_word);
}

bool at_quote(const yang_cursor *cursor)
{
    return cursor->rest.starts_with('"') || cursor->rest.starts_with('\'');
}

// Appends what stands between the quotes; false when the text ends first.
bool read_quoted(yang_cursor *cursor, std::string *argument)
{
    const char quote = take(cursor, 1).front();
    const char escape = quote == '"' ? '\\' : quote;
    while (!cursor->rest.empty()) {
        argument->append(
            take_until(cursor, [=](char letter) { return letter == quote || letter == escape; }));
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
    return {text, text.data(), 1, 0};
}

bool yang_next(yang_cursor *cursor, yang_statement *statement)
{
    skip_gap(cursor);
    while (take_if(cursor, '}')) {
        cursor->depth -= cursor->depth > 0 ? 1 : 0;
        skip_gap(cursor);
    }
    const char *start = cursor->rest.data();
    cursor->line += static_cast<unsigned>(std::count(cursor->counted, start, '\n'));
    cursor->counted = start;
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
