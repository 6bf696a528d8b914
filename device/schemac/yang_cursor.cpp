// Reads the statements of a YANG text one by one.
#include "device/schemac/yang_cursor.h"

namespace
{

char peek(const yang_cursor *cursor, size_t ahead)
{
    return static_cast<size_t>(cursor->end - cursor->at) > ahead ? cursor->at[ahead] : '\0';
}

void advance(yang_cursor *cursor)
{
    if (*cursor->at == '\n')
        cursor->line++;
    cursor->at++;
}

void skip_to_line_end(yang_cursor *cursor)
{
    while (cursor->at < cursor->end && *cursor->at != '\n')
        cursor->at++;
}

void skip_block_comment(yang_cursor *cursor)
{
    cursor->at += 2;
    while (cursor->at < cursor->end && !(peek(cursor, 0) == '*' && peek(cursor, 1) == '/'))
        advance(cursor);
    cursor->at += cursor->at < cursor->end ? 2 : 0;
}

bool is_blank(char letter)
{
    return letter == ' ' || letter == '\t' || letter == '\r' || letter == '\n';
}

// Skips blanks and comments.
void skip_gap(yang_cursor *cursor)
{
    while (cursor->at < cursor->end) {
        if (is_blank(*cursor->at))
            advance(cursor);
        else if (peek(cursor, 0) == '/' && peek(cursor, 1) == '/')
            skip_to_line_end(cursor);
        else if (peek(cursor, 0) == '/' && peek(cursor, 1) == '*')
            skip_block_comment(cursor);
        else
            return;
    }
}

bool ends_word(const yang_cursor *cursor)
{
    char letter = *cursor->at;
    return is_blank(letter) || letter == ';' || letter == '{' || letter == '}' || letter == '"' ||
           letter == '\'';
}

std::string_view read_word(yang_cursor *cursor)
{
    const char *start = cursor->at;
    while (cursor->at < cursor->end && !ends_word(cursor))
        cursor->at++;
    return {start, static_cast<size_t>(cursor->at - start)};
}

// Appends what stands between the quotes; false when the text ends first.
bool read_quoted(yang_cursor *cursor, std::string *argument)
{
    char quote = *cursor->at;
    for (cursor->at++; cursor->at < cursor->end; advance(cursor)) {
        if (*cursor->at == quote) {
            cursor->at++;
            return true;
        }
        if (quote == '"' && *cursor->at == '\\' && cursor->at + 1 < cursor->end)
            cursor->at++;
        argument->push_back(*cursor->at);
    }
    return false;
}

bool read_argument(yang_cursor *cursor, std::string *argument)
{
    argument->clear();
    if (peek(cursor, 0) != '"' && peek(cursor, 0) != '\'') {
        argument->append(read_word(cursor));
        return true;
    }
    for (;;) {
        if (!read_quoted(cursor, argument))
            return false;
        skip_gap(cursor);
        if (peek(cursor, 0) != '+')
            return true;
        cursor->at++;
        skip_gap(cursor);
        if (peek(cursor, 0) != '"' && peek(cursor, 0) != '\'')
            return false;
    }
}

} // namespace

yang_cursor yang_open(std::string_view text)
{
    return {text.data(), text.data() + text.size(), 1, 0};
}

bool yang_next(yang_cursor *cursor, yang_statement *statement)
{
    skip_gap(cursor);
    while (peek(cursor, 0) == '}') {
        cursor->depth -= cursor->depth > 0 ? 1 : 0;
        cursor->at++;
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
    char end = peek(cursor, 0);
    if (end != ';' && end != '{')
        return false;
    cursor->depth += end == '{' ? 1 : 0;
    cursor->at++;
    return true;
}

bool yang_next_within(yang_cursor *cursor, unsigned depth, yang_statement *statement)
{
    while (cursor->depth > depth) {
        skip_gap(cursor);
        if (peek(cursor, 0) != '}')
            return yang_next(cursor, statement);
        cursor->depth--;
        cursor->at++;
    }
    return false;
}
