// Reading a line, from a terminal key by key or from anything else piece by
// piece.
//
// Input that is not a terminal is shown as if it had been typed, so that the
// output of a piped session reads like a session.
#include <errno.h>
#include <string.h>

#include "code_point.h"
#include "heap.h"
#include "tinyrl/editor.h"

namespace
{

constexpr int escape = 27;
constexpr int first_final_byte = 64;
constexpr int enter = 10;
constexpr size_t longest_sequence = 9;
constexpr size_t piece_size = 80;

// The keys read so far that are not complete yet.
struct key_state {
    bool in_sequence;
    char sequence[longest_sequence + 1]; // without the escape byte
    size_t length;
    size_t missing_bytes; // of the character that has begun, in UTF-8 mode
};

// Collects one more byte. Returns whether it completes the sequence, of which *key is
// then the meaning.
bool collect(key_state *state, int byte, terminal_key *key)
{
    state->sequence[state->length++] = static_cast<char>(byte);
    state->sequence[state->length] = '\0';
    if (byte == '[' || byte < first_final_byte) {
        state->in_sequence = state->length < longest_sequence;
        return false;
    }
    state->in_sequence = false;
    *key = terminal_decode(state->sequence);
    return true;
}

// Whether byte ends a character, which is the time to draw it.
bool ends_character(const tinyrl *editor, key_state *state, int byte)
{
    const char text = static_cast<char>(byte);
    if (!editor->utf8)
        return true;
    const size_t length = code_point_length(text);
    if (state->missing_bytes > 0 && code_point_continues(text))
        state->missing_bytes--;
    else
        state->missing_bytes = length > 0 ? length - 1 : 0;
    return state->missing_bytes == 0;
}

void finish_key(tinyrl *editor, bool is_done, bool is_drawn)
{
    if (!is_done)
        tinyrl_ding(editor);
    if (is_drawn && !editor->done)
        tinyrl_redisplay(editor);
}

void handle_byte(tinyrl *editor, key_state *state, int byte)
{
    terminal_key key = terminal_key_unknown;
    if (state->in_sequence) {
        if (collect(state, byte, &key))
            finish_key(editor, tinyrl_press_special_key(editor, key), true);
    } else if (byte == escape) {
        state->in_sequence = true;
        state->length = 0;
        state->missing_bytes = 0;
    } else {
        const bool is_whole = ends_character(editor, state, byte);
        finish_key(editor, editor->handlers[byte](editor, byte), is_whole);
    }
}

// Reads keys until a handler ends the read; 0, or -1 when the input ended, failed, or
// nothing came in time.
int read_keys(tinyrl *editor)
{
    key_state state = {};
    while (!editor->done) {
        terminal_flush(&editor->terminal);
        const int byte = terminal_get_char(&editor->terminal);
        if (byte == terminal_input_timeout) {
            if (editor->timeout_handler == nullptr || editor->timeout_handler(editor))
                return -1;
            continue;
        }
        if (byte < 0)
            return -1;
        if (editor->keypress_hook != nullptr)
            editor->keypress_hook(editor, byte);
        handle_byte(editor, &state, byte);
    }
    return 0;
}

// One blank only: completion puts one after a word, more of them were typed.
void remove_trailing_blank(tinyrl *editor)
{
    if (editor->end > 0 && editor->line[editor->end - 1] == ' ')
        tinyrl_delete_text(editor, editor->end - 1, editor->end - 1);
}

// Returns 0, or the error number of a read without a line.
int read_terminal(tinyrl *editor)
{
    terminal_flush(&editor->terminal);
    raw_mode_enter(&editor->raw_mode);
    tinyrl_reset_line_state(editor);
    const bool is_read = read_keys(editor) == 0;
    if (is_read)
        remove_trailing_blank(editor);
    terminal_flush(&editor->terminal);
    raw_mode_leave(&editor->raw_mode);
    return is_read ? 0 : ENOENT;
}

// Appends a piece up to its line end; blanks before the line are left out. 0 or -1.
int append_piece(tinyrl *editor, const char *piece)
{
    const char *text = piece;
    size_t length = strcspn(piece, "\r\n");
    while (editor->point == 0 && length > 0 && (*text == ' ' || *text == '\t')) {
        text++;
        length--;
    }
    return length == 0 || tinyrl_insert_text(editor, text, length) ? 0 : -1;
}

void remove_zero_bytes(char *piece, size_t length)
{
    size_t kept = 0;
    for (size_t i = 0; i < length; i++) {
        if (piece[i] != '\0')
            piece[kept++] = piece[i];
    }
    piece[kept] = '\0';
}

// Ends a line that was not typed. Returns 0, or an error number for a line that lacks
// a piece or that the Enter key refuses.
int finish_line(tinyrl *editor, bool is_whole)
{
    const bool is_accepted = editor->handlers[enter](editor, enter);
    return is_whole && is_accepted ? 0 : ENOEXEC;
}

// Reads a line in pieces. A piece that fills the buffer is followed by the next,
// even if it ends in a line end. Each piece is drawn, also one of nothing but blanks
// with which the input ends, and which is no line.
int read_pieces(tinyrl *editor)
{
    char piece[piece_size];
    bool is_whole = true;
    bool is_full = true;
    bool at_end = false;
    while (is_full && !at_end) {
        terminal_flush(&editor->terminal);
        const size_t length = terminal_read_piece(&editor->terminal, piece, sizeof piece);
        is_full = length == sizeof piece - 1;
        at_end = length == 0 || (!is_full && terminal_input_ended(&editor->terminal));
        remove_zero_bytes(piece, length);
        is_whole = is_whole && append_piece(editor, piece) == 0;
        if (length > 0)
            tinyrl_redisplay(editor);
    }
    block_wipe(piece, sizeof piece);
    return at_end && editor->end == 0 ? ENOENT : finish_line(editor, is_whole);
}

int read_preset(tinyrl *editor, const char *text)
{
    const bool is_whole = append_piece(editor, text) == 0;
    tinyrl_redisplay(editor);
    return finish_line(editor, is_whole);
}

int read_line(tinyrl *editor, const char *preset)
{
    tinyrl_forget_drawn_line(editor);
    if (preset != nullptr)
        return read_preset(editor, preset);
    return editor->raw_mode.is_terminal ? read_terminal(editor) : read_pieces(editor);
}

} // namespace

char *tinyrl_readline_preset(tinyrl *editor, const char *prompt, void *context, const char *text)
{
    heap_text result;
    int error = ENOENT;
    editor->done = false;
    editor->prompt = prompt;
    editor->context = context;
    if (tinyrl_start_line(editor) == 0)
        error = read_line(editor, text);
    if (error == 0) {
        result.reset(strndup(editor->line, editor->end));
        error = result ? 0 : ENOENT;
    }
    tinyrl_end_line(editor);
    tinyrl_forget_drawn_line(editor);
    editor->prompt = nullptr;
    editor->context = nullptr;
    if (error != 0)
        errno = error;
    return result.release();
}

char *tinyrl_readline(tinyrl *editor, const char *prompt, void *context)
{
    return tinyrl_readline_preset(editor, prompt, context, nullptr);
}
