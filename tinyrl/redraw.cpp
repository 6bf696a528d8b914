// Drawing the line with as few bytes as possible.
//
// The editor keeps a copy of what it drew, finds the first difference, goes
// back there and writes the rest. Positions are columns counted from the start
// of the line, as if it began at the left margin, so a line that wraps is placed
// as far to the right as the prompt is wide. Cursor movements are relative:
// the editor never knows on which row of the screen it is.
#include <limits.h>
#include <stddef.h>
#include <stdlib.h>

#include "bounded.h"
#include "code_point.h"
#include "heap.h"
#include "tinyrl/editor.h"
#include "tinyrl/utf8.h"

namespace
{

// The columns that length bytes at text take in the way the editor shows them.
long columns(const tinyrl *editor, const char *text, size_t length)
{
    if (!editor->echo_shown)
        return editor->echo_character != '\0' ? static_cast<long>(length) : 0;
    return static_cast<long>(editor->utf8 ? utf8_columns(text, length) : length);
}

int as_count(long difference)
{
    const long magnitude = difference < 0 ? -difference : difference;
    return magnitude < INT_MAX ? static_cast<int>(magnitude) : INT_MAX;
}

// Moves the cursor back by count columns, to the column target; forward when count is
// negative.
void move_back(const tinyrl *editor, long width, long target, long count)
{
    const long rows = (target + count) / width - target / width;
    const long back = (target + count) % width - target % width;
    if (back > 0)
        terminal_control(&editor->terminal, as_count(back), terminal_cursor_back);
    else if (back < 0)
        terminal_control(&editor->terminal, as_count(back), terminal_cursor_forward);
    if (rows > 0)
        terminal_control(&editor->terminal, as_count(rows), terminal_cursor_up);
    else if (rows < 0)
        terminal_control(&editor->terminal, as_count(rows), terminal_cursor_down);
}

// The length of the longest common prefix of line and drawn text.
size_t common_prefix(const tinyrl *editor, const char *line)
{
    const drawn_line *drawn = &editor->drawn;
    size_t length = drawn->unchanged;
    while (length < editor->end && length < drawn->length && line[length] == drawn->text[length])
        length++;
    while (editor->utf8 && length > 0 &&
           (code_point_continues(line[length]) || code_point_continues(drawn->text[length])))
        length--;
    return length;
}

// Puts the cursor where drawing starts; returns the offset to draw from.
size_t start_drawing(const tinyrl *editor, const char *line, int width)
{
    const drawn_line *drawn = &editor->drawn;
    if (drawn->text == nullptr || drawn->width != width) {
        if (drawn->width != width) {
            terminal_control(&editor->terminal, terminal_next_line);
            terminal_control(&editor->terminal, terminal_erase_down);
        }
        terminal_printf(&editor->terminal, "%s", editor->prompt != nullptr ? editor->prompt : "");
        return 0;
    }
    const size_t from = common_prefix(editor, line);
    const long target = columns(editor, line, from);
    move_back(editor, width, target, columns(editor, drawn->text, drawn->point) - target);
    return from;
}

// Writes length bytes of the line as the echo settings want; returns whether
// anything appeared.
bool show(const tinyrl *editor, const char *text, size_t length)
{
    if (editor->echo_shown) {
        terminal_write(&editor->terminal, text, length);
        return length > 0;
    }
    if (editor->echo_character == '\0')
        return false;
    for (size_t i = 0; i < length; i++)
        terminal_write(&editor->terminal, &editor->echo_character, 1);
    return length > 0;
}

// Whether what was drawn reaches further than the line. A wide character may have given
// way to more bytes that take fewer columns.
bool was_longer(const tinyrl *editor, const char *line)
{
    const drawn_line *drawn = &editor->drawn;
    if (drawn->length > editor->end)
        return true;
    return editor->utf8 && drawn->text != nullptr &&
           columns(editor, drawn->text, drawn->length) > columns(editor, line, editor->end);
}

// Makes room for a copy of length bytes, and its end; 0 or -1.
int make_room_for_copy(drawn_line *drawn, size_t length)
{
    if (drawn->text != nullptr && length < drawn->size)
        return 0;
    const size_t size = length + length / 2 + 1;
    char *text = static_cast<char *>(calloc(1, size));
    if (text == nullptr)
        return -1;
    if (drawn->text != nullptr)
        memcpy_s(text, size, drawn->text, drawn->length);
    block_free(drawn->text, drawn->size);
    drawn->text = text;
    drawn->size = size;
    return 0;
}

// Without memory for the copy the next drawing starts from scratch.
void remember(tinyrl *editor, const char *line, int width)
{
    drawn_line *drawn = &editor->drawn;
    drawn->width = width;
    if (make_room_for_copy(drawn, editor->end) != 0) {
        tinyrl_forget_drawn_line(editor);
        return;
    }
    const size_t same = drawn->unchanged;
    memcpy_s(drawn->text + same, drawn->size - same, line + same, editor->end - same);
    drawn->text[editor->end] = '\0';
    drawn->length = editor->end;
    drawn->point = editor->point;
    drawn->unchanged = editor->end;
}

} // namespace

void tinyrl_forget_drawn_line(tinyrl *editor)
{
    drawn_line *drawn = &editor->drawn;
    block_free(drawn->text, drawn->size);
    *drawn = {nullptr, 0, 0, 0, drawn->width, 0};
}

void tinyrl_redisplay(tinyrl *editor)
{
    const char *line = editor->line != nullptr ? editor->line : "";
    const int width = terminal_get_width(&editor->terminal);
    const size_t from = start_drawing(editor, line, width);
    const bool appeared = show(editor, line + from, editor->end - from);
    const long before = columns(editor, line, editor->point);
    const long after = columns(editor, line + editor->point, editor->end - editor->point);
    if (appeared && (before + after) % width == 0)
        terminal_control(&editor->terminal, terminal_next_line);
    if (was_longer(editor, line))
        terminal_control(&editor->terminal, terminal_erase_down);
    if (editor->point < editor->end)
        move_back(editor, width, before, after);
    terminal_flush(&editor->terminal);
    remember(editor, line, width);
}

void tinyrl_reset_line_state(tinyrl *editor)
{
    tinyrl_forget_drawn_line(editor);
    tinyrl_redisplay(editor);
}
