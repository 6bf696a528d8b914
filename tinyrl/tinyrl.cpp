// The editor: its creation, its end and its settings.
//
// One editor serves one input and one output for as long as the program reads
// commands. A read starts from an empty buffer and leaves nothing behind but
// the kill string; the history is filled by the caller, who alone knows which
// lines are worth remembering.
#include "tinyrl/tinyrl.h"

#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <string_view>

#include "heap.h"
#include "terminal_text.h"
#include "tinyrl/checks.h"
#include "tinyrl/editor.h"

namespace
{

constexpr std::string_view many_blanks = "                                ";

} // namespace

tinyrl *tinyrl_new(FILE *in, FILE *out, size_t history_limit, tinyrl_completion_handler *complete)
{
    auto *editor = static_cast<tinyrl *>(calloc(1, sizeof(tinyrl)));
    if (editor == nullptr)
        return nullptr;
    editor->complete = complete;
    editor->echo_shown = true;
    tinyrl_bind_default_keys(editor);
    editor->terminal = terminal_on(in, out);
    editor->history = history_with(history_limit);
    raw_mode_attach(&editor->raw_mode, in);
    editor->drawn.width = terminal_get_width(&editor->terminal);
    return editor;
}

void tinyrl_delete(tinyrl *editor)
{
    tinyrl_check(editor != nullptr, "this", "tinyrl.c", "tinyrl_delete");
    if (editor->raw_mode.is_active) {
        terminal_flush(&editor->terminal);
        raw_mode_abandon(&editor->raw_mode);
    }
    history_clear(&editor->history);
    block_free(editor->buffer, editor->buffer_capacity);
    text_free(editor->kill_string);
    block_free(editor->drawn.text, editor->drawn.size);
    free(editor);
}

bool tinyrl_bind_key(tinyrl *editor, int key, tinyrl_key_handler *handler)
{
    if (key < 0 || key >= static_cast<int>(key_count))
        return false;
    editor->handlers[key] = handler;
    return true;
}

void *tinyrl_get_context(const tinyrl *editor)
{
    return editor->context;
}

const char *tinyrl_get_line(const tinyrl *editor)
{
    return editor->line;
}

size_t tinyrl_get_point(const tinyrl *editor)
{
    return editor->point;
}

history *tinyrl_get_history(tinyrl *editor)
{
    return &editor->history;
}

void tinyrl_crlf(tinyrl *editor)
{
    terminal_write(&editor->terminal, "\n", 1);
}

int tinyrl_printf(tinyrl *editor, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int written = terminal_vprintf(&editor->terminal, format, arguments);
    va_end(arguments);
    return written;
}

void tinyrl_print_safe(tinyrl *editor, const char *text, size_t width)
{
    size_t left = strlen(text);
    size_t run = 0; // so many safe bytes before the text are to be written
    size_t shown = 0;
    while (left > 0) {
        bool safe = false;
        const size_t length = terminal_text_next(text, left, &safe);
        text += length;
        left -= length;
        shown += safe ? length : 1;
        run += length;
        if (!safe) {
            terminal_write(&editor->terminal, text - run, run - length);
            terminal_write(&editor->terminal, "?", 1);
            run = 0;
        }
    }
    terminal_write(&editor->terminal, text - run, run);
    for (size_t blanks = 0; shown < width; shown += blanks) {
        blanks = width - shown < many_blanks.size() ? width - shown : many_blanks.size();
        terminal_write(&editor->terminal, many_blanks.data(), blanks);
    }
}

void tinyrl_ding(tinyrl *editor)
{
    terminal_ding(&editor->terminal);
}

tinyrl_settings *tinyrl_get_settings(tinyrl *editor)
{
    return editor;
}

void tinyrl_set_timeout(tinyrl *editor, int seconds)
{
    editor->terminal.timeout = seconds;
}

bool tinyrl_line_is_ahead(const tinyrl *editor)
{
    return terminal_line_is_ahead(&editor->terminal);
}

void tinyrl_set_wait_mask(tinyrl *editor, const sigset_t *mask)
{
    editor->terminal.wait_mask = mask;
}
