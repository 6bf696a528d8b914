#include "complete/line_scan.h"

#include "schema/masking.h"
#include "tinyrl/tinyrl.h"

namespace
{

// The first index from `at` on that holds a blank (or none, when blank is
// false); the text's length when there is none.
size_t find(std::string_view text, size_t at, bool blank)
{
    while (at < text.size() && is_space(text[at]) != blank)
        at++;
    return at;
}

void find_words(line_scan *scan)
{
    const std::string_view text = scan->text.get();
    scan->command_start = find(text, 0, false);
    if (scan->command_start == text.size())
        scan->command_start = scan->point;
    scan->command_end = find(text, scan->command_start, true);
    if (scan->command_end > scan->point)
        scan->command_end = scan->point;
    scan->word_start = scan->point;
    while (scan->word_start > 0 && !is_space(text[scan->word_start - 1]))
        scan->word_start--;
}

} // namespace

int line_scan_read(const tinyrl *editor, quoted_blanks quoted, line_scan *scan)
{
    scan->text = text_copy(tinyrl_get_line(editor));
    if (!scan->text)
        return -1;
    scan->point = tinyrl_get_point(editor);
    if (quoted == quoted_blanks_join)
        mask_quoted_blanks(scan->text.get());
    find_words(scan);
    return 0;
}

bool in_command_word(const line_scan *scan)
{
    return scan->word_start == scan->command_start;
}

std::string_view command_word(const line_scan *scan)
{
    if (scan->command_end <= scan->command_start)
        return {};
    return {scan->text.get() + scan->command_start, scan->command_end - scan->command_start};
}

std::string_view words_before(const line_scan *scan)
{
    if (scan->word_start <= scan->command_end)
        return {};
    return {scan->text.get() + scan->command_end, scan->word_start - scan->command_end};
}

words_typed count_words_before(const line_scan *scan)
{
    words_typed typed = {};
    std::string_view rest = words_before(scan);
    for (std::string_view word; next_word(&rest, &word); typed.count++) {
        if (typed.count == 0)
            typed.first = word;
        typed.last = word;
    }
    return typed;
}

bool next_word(std::string_view *rest, std::string_view *word)
{
    rest->remove_prefix(find(*rest, 0, false));
    *word = text_slice(*rest, 0, find(*rest, 0, true));
    rest->remove_prefix(word->size());
    return !word->empty();
}

std::string_view typed_text(const tinyrl *editor, size_t start)
{
    const size_t point = tinyrl_get_point(editor);
    if (start >= point)
        return {};
    return {tinyrl_get_line(editor) + start, point - start};
}

bool replace_typed(tinyrl *editor, size_t start, const char *text, size_t length)
{
    const size_t typed = typed_text(editor, start).size();
    if (!tinyrl_insert_text(editor, text, length)) // first, for it alone can fail
        return false;
    const size_t point = tinyrl_get_point(editor);
    tinyrl_delete_text(editor, point, point);
    if (typed > 0)
        tinyrl_delete_text(editor, start, start + typed - 1);
    return true;
}
