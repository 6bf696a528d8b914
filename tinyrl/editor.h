// The editor's record and what its files offer each other.
//
// line is what is shown: the editor's own buffer or, while the user walks back,
// the text of a history entry, which is never written to. Positions are byte
// indexes with point <= end == strlen(line).
#pragma once

#include <stddef.h>

#include "tinyrl/history.h"
#include "tinyrl/raw_mode.h"
#include "tinyrl/terminal.h"
#include "tinyrl/tinyrl.h"

// What the terminal shows, as far as the editor drew it.
struct drawn_line {
    char *text; // heap; null: nothing has been drawn since the last reset
    size_t size;
    size_t length;
    size_t point;
    int width;        // of the terminal; never forgotten
    size_t unchanged; // so many first bytes are the same in text and line
};

inline constexpr size_t key_count = 256;

struct tinyrl : tinyrl_settings {
    const char *line;       // null outside a read
    const char *prompt;     // the caller's
    char *buffer;           // heap
    size_t buffer_capacity; // bytes allocated
    bool done;
    size_t point;
    size_t end;
    tinyrl_completion_handler *complete;
    char *kill_string; // heap; null: none
    tinyrl_key_handler *handlers[key_count];
    struct history history;
    history_iterator iterator; // valid while line is not buffer
    struct terminal terminal;
    void *context;
    struct raw_mode raw_mode;
    drawn_line drawn;
};

// Binds every key to what it does in an editor nobody has changed.
void tinyrl_bind_default_keys(tinyrl *editor);

// Does what an escape sequence stands for; false rings the bell, as for a handler.
bool tinyrl_press_special_key(tinyrl *editor, terminal_key key);

// The Tab key of an editor nobody has changed.
bool tinyrl_key_complete(tinyrl *editor, int key);

// Makes the buffer, and so the line, an empty text; 0, or -1 without memory.
int tinyrl_start_line(tinyrl *editor);

// Gives up the buffer, wiped; there is no line any more.
void tinyrl_end_line(tinyrl *editor);

// Empties the line, which is the buffer again; cannot fail.
void tinyrl_clear_line(tinyrl *editor);

// Shows text, of a history entry or of the buffer, with the cursor at its end.
void tinyrl_show_text(tinyrl *editor, const char *text);

// tinyrl_insert_text without the bell; 0 or -1.
int tinyrl_insert_silently(tinyrl *editor, const char *text, size_t length);

// Makes the kill string a copy of length bytes of text; 0, or -1 without memory:
// the kill string is then what it was.
int tinyrl_set_kill_string(tinyrl *editor, const char *text, size_t length);

// The lengths of the characters before and after the cursor; 0: there is none.
size_t tinyrl_length_before_point(const tinyrl *editor);
size_t tinyrl_length_after_point(const tinyrl *editor);

// Forgets what was drawn, without drawing.
void tinyrl_forget_drawn_line(tinyrl *editor);
