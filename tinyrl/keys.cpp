// What the keys do.
//
// Every byte has a handler, which changes the line and leaves the drawing to
// the loop that reads the keys. A handler that cannot do its work leaves the
// line as it was and returns false, which rings the bell.
#include <stdlib.h>
#include <string.h>

#include "tinyrl/editor.h"
#include "tinyrl/memory.h"

namespace
{

constexpr int first_printable = 32;

// The keys that send a control byte.
enum control {
    control_a = 1,
    control_c = 3,
    control_d = 4,
    control_e = 5,
    control_backspace = 8,
    control_tab = 9,
    control_line_feed = 10,
    control_k = 11,
    control_l = 12,
    control_carriage_return = 13,
    control_u = 21,
    control_w = 23,
    control_y = 25,
    control_rubout = 127,
};

bool key_default(tinyrl *editor, int key)
{
    if (key >= first_printable) {
        const char byte = static_cast<char>(key);
        return tinyrl_insert_silently(editor, &byte, 1) == 0;
    }
    return editor->default_handler != nullptr && editor->default_handler(editor, key);
}

bool key_start_of_line(tinyrl *editor, int /*key*/)
{
    editor->point = 0;
    return true;
}

bool key_end_of_line(tinyrl *editor, int /*key*/)
{
    editor->point = editor->end;
    return true;
}

bool key_enter(tinyrl *editor, int /*key*/)
{
    tinyrl_crlf(editor);
    editor->done = true;
    return true;
}

bool key_interrupt(tinyrl *editor, int /*key*/)
{
    tinyrl_crlf(editor);
    tinyrl_clear_line(editor);
    editor->done = true;
    return true;
}

// Removes count bytes at start; 0, or -1 without memory to copy a line of the
// history, which the length tells.
int remove_bytes(tinyrl *editor, size_t start, size_t count)
{
    const size_t before = editor->end;
    tinyrl_delete_text(editor, start, start + count - 1);
    return editor->end != before ? 0 : -1;
}

bool key_delete(tinyrl *editor, int /*key*/)
{
    const size_t length = tinyrl_length_after_point(editor);
    return length > 0 && remove_bytes(editor, editor->point, length) == 0;
}

bool key_backspace(tinyrl *editor, int /*key*/)
{
    const size_t length = tinyrl_length_before_point(editor);
    return length > 0 && remove_bytes(editor, editor->point - length, length) == 0;
}

bool key_left(tinyrl *editor)
{
    const size_t length = tinyrl_length_before_point(editor);
    editor->point -= length;
    return length > 0;
}

bool key_right(tinyrl *editor)
{
    const size_t length = tinyrl_length_after_point(editor);
    editor->point += length;
    return length > 0;
}

bool key_kill_to_end(tinyrl *editor, int /*key*/)
{
    const size_t length = editor->end - editor->point;
    if (tinyrl_set_kill_string(editor, editor->line + editor->point, length) != 0)
        return false;
    return length == 0 || remove_bytes(editor, editor->point, length) == 0;
}

bool key_kill_to_start(tinyrl *editor, int /*key*/)
{
    if (editor->point == 0) {
        wipe_and_free(editor->kill_string);
        editor->kill_string = nullptr;
        return true;
    }
    return tinyrl_set_kill_string(editor, editor->line, editor->point) == 0 &&
           remove_bytes(editor, 0, editor->point) == 0;
}

bool is_space(char byte)
{
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

bool key_erase_word(tinyrl *editor, int /*key*/)
{
    size_t start = editor->point;
    while (start > 0 && is_space(editor->line[start - 1]))
        start--;
    while (start > 0 && !is_space(editor->line[start - 1]))
        start--;
    return start == editor->point || remove_bytes(editor, start, editor->point - start) == 0;
}

bool key_yank(tinyrl *editor, int /*key*/)
{
    return editor->kill_string != nullptr &&
           tinyrl_insert_silently(editor, editor->kill_string, strlen(editor->kill_string)) == 0;
}

bool key_clear_screen(tinyrl *editor, int /*key*/)
{
    terminal_clear_screen(editor->terminal);
    terminal_cursor_home(editor->terminal);
    tinyrl_reset_line_state(editor);
    return true;
}

bool key_older_line(tinyrl *editor)
{
    const history_entry *entry = editor->line == editor->buffer
                                     ? history_last(editor->history, &editor->iterator)
                                     : history_previous(&editor->iterator);
    if (entry == nullptr)
        return false;
    tinyrl_show_text(editor, history_entry_line(entry));
    return true;
}

// After the newest line comes the one that was being typed.
bool key_newer_line(tinyrl *editor)
{
    if (editor->line == editor->buffer)
        return false;
    const history_entry *entry = history_next(&editor->iterator);
    tinyrl_show_text(editor, entry != nullptr ? history_entry_line(entry) : editor->buffer);
    return true;
}

} // namespace

bool tinyrl_press_special_key(tinyrl *editor, terminal_key key)
{
    switch (key) {
    case terminal_key_up:
        return key_older_line(editor);
    case terminal_key_down:
        return key_newer_line(editor);
    case terminal_key_left:
        return key_left(editor);
    case terminal_key_right:
        return key_right(editor);
    case terminal_key_home:
        return key_start_of_line(editor, control_a);
    case terminal_key_end:
        return key_end_of_line(editor, control_e);
    case terminal_key_delete:
        return key_delete(editor, control_d);
    case terminal_key_unknown:
    case terminal_key_insert:
    case terminal_key_page_up:
    case terminal_key_page_down:
        break;
    }
    return true;
}

void tinyrl_bind_default_keys(tinyrl *editor)
{
    for (tinyrl_key_handler *&handler : editor->handlers)
        handler = key_default;
    editor->handlers[control_a] = key_start_of_line;
    editor->handlers[control_c] = key_interrupt;
    editor->handlers[control_d] = key_delete;
    editor->handlers[control_e] = key_end_of_line;
    editor->handlers[control_backspace] = key_backspace;
    editor->handlers[control_tab] = tinyrl_key_complete;
    editor->handlers[control_line_feed] = key_enter;
    editor->handlers[control_k] = key_kill_to_end;
    editor->handlers[control_l] = key_clear_screen;
    editor->handlers[control_carriage_return] = key_enter;
    editor->handlers[control_u] = key_kill_to_start;
    editor->handlers[control_w] = key_erase_word;
    editor->handlers[control_y] = key_yank;
    editor->handlers[control_rubout] = key_backspace;
}
