// Candidates for the word before the cursor: inserting what they share, and
// listing them in columns below the line.
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "tinyrl/checks.h"
#include "tinyrl/editor.h"

namespace
{

// What all candidates begin with.
struct common_text {
    size_t length;
    bool is_candidate; // a candidate ends where the prefix ends
};

common_text find_common_text(char *const *matches)
{
    common_text common = {strlen(matches[0]), true};
    for (size_t i = 1; matches[i] != nullptr; i++) {
        size_t same = 0;
        while (same < common.length && matches[i][same] == matches[0][same])
            same++;
        if (same < common.length)
            common = {same, matches[i][same] == '\0'};
    }
    return common;
}

size_t count_matches(char *const *matches)
{
    size_t count = 0;
    while (matches[count] != nullptr)
        count++;
    return count;
}

size_t longest_match(char *const *matches)
{
    size_t longest = 0;
    for (size_t i = 0; matches[i] != nullptr; i++) {
        const size_t length = strlen(matches[i]);
        longest = length > longest ? length : longest;
    }
    return longest;
}

void list_below_line(tinyrl *editor, char *const *matches)
{
    tinyrl_crlf(editor);
    tinyrl_display_matches(editor, matches, count_matches(matches), longest_match(matches));
    tinyrl_reset_line_state(editor);
}

// Whether the text from start to the cursor begins with length bytes of text.
bool stands_at(const tinyrl *editor, size_t start, const char *text, size_t length)
{
    return start <= editor->point && editor->point - start >= length &&
           memcmp(editor->line + start, text, length) == 0;
}

void free_matches(char **matches)
{
    for (size_t i = 0; matches[i] != nullptr; i++)
        free(matches[i]);
    free(matches);
}

// Whether the candidates differ in upper and lower case only.
bool are_variants(char *const *matches)
{
    for (size_t i = 1; matches[i] != nullptr; i++) {
        if (strcasecmp(matches[0], matches[i]) != 0)
            return false;
    }
    return true;
}

// Puts word in the place of what stands from start to the cursor; 0 or -1.
int replace_word(tinyrl *editor, size_t start, const char *word)
{
    const size_t length = strlen(word);
    if (editor->point - start == length && stands_at(editor, start, word, length))
        return 0;
    if (editor->point > start)
        tinyrl_delete_text(editor, start, editor->point - 1);
    return tinyrl_insert_silently(editor, word, length);
}

} // namespace

size_t tinyrl_common_length(char *const *matches)
{
    return find_common_text(matches).length;
}

void tinyrl_display_matches(tinyrl *editor, char *const *matches, size_t count, size_t longest)
{
    tinyrl_check(matches != nullptr, "matches", "tinyrl.c", "tinyrl_display_matches");
    const auto width = static_cast<size_t>(terminal_get_width(&editor->terminal));
    const size_t columns = longest < width ? (width + 1) / (longest + 1) : 1;
    for (size_t i = 0; i < count; i++) {
        const bool is_last_column = i % columns == columns - 1;
        tinyrl_print_safe(editor, matches[i], is_last_column ? 0 : longest);
        if (!is_last_column)
            terminal_write(&editor->terminal, " ", 1);
        if (is_last_column || i == count - 1)
            tinyrl_crlf(editor);
    }
}

bool tinyrl_complete_matches(tinyrl *editor, size_t start, char *const *matches, bool allow_prefix)
{
    if (matches == nullptr || matches[0] == nullptr || matches[0][0] == '\0')
        return false;
    const common_text common = find_common_text(matches);
    const bool is_changed = !stands_at(editor, start, matches[0], common.length);
    if (is_changed) {
        tinyrl_delete_text(editor, start, editor->point);
        if (!tinyrl_insert_text(editor, matches[0], common.length))
            return false;
        tinyrl_redisplay(editor);
    }
    if (matches[1] == nullptr || (allow_prefix && common.is_candidate))
        return true;
    if (!is_changed)
        list_below_line(editor, matches);
    return false;
}

bool tinyrl_key_complete(tinyrl *editor, int /*key*/)
{
    size_t start = editor->point;
    while (start > 0 && editor->line[start - 1] != ' ')
        start--;
    char **matches = editor->complete != nullptr
                         ? editor->complete(editor, editor->line, start, editor->point)
                         : nullptr;
    if (matches == nullptr)
        return false;
    bool is_inserted = matches[0] != nullptr && replace_word(editor, start, matches[0]) == 0;
    if (is_inserted && are_variants(matches))
        is_inserted = tinyrl_insert_silently(editor, " ", 1) == 0;
    else if (is_inserted)
        list_below_line(editor, matches);
    free_matches(matches);
    return is_inserted;
}
