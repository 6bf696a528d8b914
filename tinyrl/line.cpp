// The text of the line and its changes.
//
// A line that belongs to the history is copied into the buffer before its first
// change, so that walking back and typing never alters what is remembered.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "bounded.h"
#include "heap.h"
#include "tinyrl/checks.h"
#include "tinyrl/editor.h"
#include "tinyrl/utf8.h"

namespace
{

constexpr size_t spare = 10;

// From offset on, the line may differ from what is drawn.
void note_change(tinyrl *editor, size_t offset)
{
    if (offset < editor->drawn.unchanged)
        editor->drawn.unchanged = offset;
}

// Makes the buffer a copy of text, and the line the buffer; 0 or -1.
int replace_buffer(tinyrl *editor, const char *text, size_t length)
{
    heap_text copy(strndup(text, length));
    if (!copy)
        return -1;
    block_free(editor->buffer, editor->buffer_capacity);
    editor->buffer = copy.release();
    editor->buffer_capacity = length + 1;
    editor->line = editor->buffer;
    return 0;
}

// Called before every change; 0, or -1 without memory for a copy of a history entry.
int changed_line(tinyrl *editor)
{
    tinyrl_check(editor->line != nullptr, "this->line", "tinyrl.c", "changed_line");
    return editor->line == editor->buffer ? 0 : replace_buffer(editor, editor->line, editor->end);
}

// Makes room for a line of length bytes; 0 or -1. A new block has half as much again,
// so that a line of any length is copied only a few times. realloc would leave the text
// in the old one.
int extend_buffer(tinyrl *editor, size_t length)
{
    if (editor->max_line_length > 0 && length >= editor->max_line_length)
        return -1;
    if (length < editor->buffer_capacity)
        return 0;
    const size_t capacity = length + length / 2 + spare;
    char *buffer = static_cast<char *>(malloc(capacity));
    if (buffer == nullptr)
        return -1;
    memcpy_s(buffer, capacity, editor->buffer, editor->end + 1);
    block_free(editor->buffer, editor->buffer_capacity);
    editor->buffer = buffer;
    editor->buffer_capacity = capacity;
    editor->line = buffer;
    return 0;
}

// Where the cursor is once the bytes from start to last are gone.
size_t point_after_removal(size_t point, size_t start, size_t last)
{
    if (point > last)
        return point - (last + 1 - start);
    return point > start ? start : point;
}

} // namespace

int tinyrl_start_line(tinyrl *editor)
{
    editor->point = 0;
    editor->end = 0;
    return replace_buffer(editor, "", 0);
}

void tinyrl_end_line(tinyrl *editor)
{
    block_free(editor->buffer, editor->buffer_capacity);
    editor->buffer = nullptr;
    editor->buffer_capacity = 0;
    editor->line = nullptr;
    editor->point = 0;
    editor->end = 0;
}

void tinyrl_show_text(tinyrl *editor, const char *text)
{
    editor->line = text;
    editor->end = strlen(text);
    editor->point = editor->end;
    note_change(editor, 0);
}

void tinyrl_clear_line(tinyrl *editor)
{
    editor->buffer[0] = '\0';
    tinyrl_show_text(editor, editor->buffer);
}

int tinyrl_insert_silently(tinyrl *editor, const char *text, size_t length)
{
    if (changed_line(editor) != 0 || length > SIZE_MAX / 2 - editor->end ||
        extend_buffer(editor, editor->end + length) != 0)
        return -1;
    char *cursor = editor->buffer + editor->point;
    note_change(editor, editor->point);
    memmove(cursor + length, cursor, editor->end - editor->point + 1);
    memcpy_s(cursor, length, text, length);
    editor->point += length;
    editor->end += length;
    return 0;
}

bool tinyrl_insert_text(tinyrl *editor, const char *text, size_t length)
{
    const bool is_inserted = tinyrl_insert_silently(editor, text, length) == 0;
    if (!is_inserted)
        tinyrl_ding(editor);
    return is_inserted;
}

void tinyrl_delete_text(tinyrl *editor, size_t start, size_t end)
{
    if (start > end)
        start = end;
    if (editor->line != nullptr && start >= editor->end)
        return;
    if (changed_line(editor) != 0) {
        tinyrl_ding(editor);
        return;
    }
    const size_t last = end < editor->end ? end : editor->end - 1;
    const size_t rest = editor->end - (last + 1);
    note_change(editor, start);
    memmove(editor->buffer + start, editor->buffer + last + 1, rest + 1);
    editor->point = point_after_removal(editor->point, start, last);
    editor->end = start + rest;
}

int tinyrl_set_kill_string(tinyrl *editor, const char *text, size_t length)
{
    heap_text copy(strndup(text, length));
    if (!copy)
        return -1;
    text_free(editor->kill_string);
    editor->kill_string = copy.release();
    return 0;
}

size_t tinyrl_length_before_point(const tinyrl *editor)
{
    if (editor->point == 0)
        return 0;
    return editor->utf8 ? utf8_previous_length(editor->line, editor->point) : 1;
}

size_t tinyrl_length_after_point(const tinyrl *editor)
{
    if (editor->point == editor->end)
        return 0;
    const char *cursor = editor->line + editor->point;
    return editor->utf8 ? utf8_next_length(cursor, editor->end - editor->point) : 1;
}
