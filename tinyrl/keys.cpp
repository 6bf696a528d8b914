// What the keys do.
//
// Every byte has a handler, which changes the line and leaves the drawing to
// the loop that reads the keys. A handler that cannot do its work leaves the
// line as it was and returns false, which rings the bell.
#include <stdlib.h>
#include <string.h>

#include "heap.h"
#include "tinyrl/editor.h"

namespace
{

constexpr int first_printable = 32;
constexpr int rubout = 127;

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

bool key_left(tinyrl *editor, int /*key*/)
{
    const size_t length = tinyrl_length_before_point(editor);
    editor->point -= length;
    return length > 0;
}

bool key_right(tinyrl *editor, int /*key*/)
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
        text_free(editor->kill_string);
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
    terminal_control(&editor->terminal, terminal_clear_screen);
    terminal_control(&editor->terminal, terminal_cursor_home);
    tinyrl_reset_line_state(editor);
    return true;
}

bool key_older_line(tinyrl *editor, int /*key*/)
{
    const history_entry *entry = editor->line == editor->buffer
                                     ? history_last(&editor->history, &editor->iterator)
                                     : history_previous(&editor->iterator);
    if (entry == nullptr)
        return false;
    tinyrl_show_text(editor, entry->line);
    return true;
}

// After the newest line comes the one that was being typed.
bool key_newer_line(tinyrl *editor, int /*key*/)
{
    if (editor->line == editor->buffer)
        return false;
    const history_entry *entry = history_next(&editor->iterator);
    tinyrl_show_text(editor, entry != nullptr ? entry->line : editor->buffer);
    return true;
}

struct key_binding {
    int key;
    tinyrl_key_handler *handler;
};

constexpr int control(char letter)
{
    return letter - '@';
}

constexpr key_binding default_bindings[] = {
    {control('A'), key_start_of_line},
    {control('C'), key_interrupt},
    {control('D'), key_delete},
    {control('E'), key_end_of_line},
    {control('K'), key_kill_to_end},
    {control('L'), key_clear_screen},
    {control('U'), key_kill_to_start},
    {control('W'), key_erase_word},
    {control('Y'), key_yank},
    {'\t', tinyrl_key_complete},
    {'\b', key_backspace},
    {rubout, key_backspace},
    {'\n', key_enter},
    {'\r', key_enter},
};

// Those of the keys that send sequences; the others do nothing.
constexpr key_binding special_bindings[] = {
    {terminal_key_up, key_older_line},      {terminal_key_down, key_newer_line},
    {terminal_key_left, key_left},          {terminal_key_right, key_right},
    {terminal_key_home, key_start_of_line}, {terminal_key_end, key_end_of_line},
    {terminal_key_delete, key_delete},
};

} // namespace

bool tinyrl_press_special_key(tinyrl *editor, terminal_key key)
{
    for (const key_binding &binding : special_bindings) {
        if (binding.key == key)
            return binding.handler(editor, key);
    }
    return true;
}

void tinyrl_bind_default_keys(tinyrl *editor)
{
    for (tinyrl_key_handler *&handler : editor->handlers)
        handler = key_default;
    for (const key_binding &binding : default_bindings)
        editor->handlers[binding.key] = binding.handler;
}
