// Keys struck at a terminal, against a model that knows no more than the text,
// the cursor, what was killed, and the lines before.
//
// The terminals are opened once. What is drawn is taken away between keys, and a
// line is kept as short as its drawing has room in a terminal's buffer: nobody
// else reads it.
#include <algorithm>

#include "tests/fuzz/editor_model.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/tinyrl_session.h"

namespace
{

constexpr size_t most_keys = 1000;    // that a terminal's input holds at once
constexpr size_t longest_line = 1000; // what is killed and yanked doubles it
constexpr size_t short_line = 100;    // of which several drawings have room

// What is struck at last: enough to end any sequence that was begun, and a line.
const char last_keys[] = "\x1bx\x1bx\r";

editor_model *model;

struct open_terminals {
    pseudo_terminal keyboard{80};
    pseudo_terminal screen{80};
    FILE *input = fdopen(dup(keyboard.slave), "r");
    FILE *output = fdopen(dup(screen.slave), "w");
};

open_terminals &terminals()
{
    static open_terminals the_only;
    return the_only;
}

// The model strikes each key before the editor does.
void strike(tinyrl *editor, int key)
{
    fuzz_require_equal(tinyrl_get_line(editor), model->text, "the line is the model's");
    fuzz_require(tinyrl_get_point(editor) == model->point, "the cursor is the model's");
    model->strike(key);
    if (model->text.size() > short_line || model->struck % 8 == 0)
        terminals().screen.take();
}

void end_line(editor_model *edited)
{
    const std::string line = edited->result();
    if (!line.empty())
        edited->remember(line);
}

bool stays_short(const std::string &keys)
{
    editor_model imagined;
    imagined.begin_line();
    for (const char key : keys) {
        imagined.strike(static_cast<unsigned char>(key));
        if (imagined.text.size() > longest_line)
            return false;
        if (imagined.done) {
            end_line(&imagined);
            imagined.begin_line();
        }
    }
    return true;
}

void edit(tinyrl *editor, size_t keys)
{
    editor_model expected;
    model = &expected;
    while (expected.struck < keys) {
        expected.begin_line();
        char *line = tinyrl_readline(editor, "> ", nullptr);
        fuzz_require(line != nullptr && expected.done, "a read ends where the model's does");
        fuzz_require_equal(line, expected.result(), "the line that is read is the model's");
        if (*line != '\0')
            history_add(tinyrl_get_history(editor), line);
        end_line(&expected);
        free(line);
        terminals().screen.take();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0 || size > most_keys)
        return -1;
    fuzz_input input(data, size);
    const int columns = static_cast<int>(input.byte()) % 100 + 1;
    const std::string keys = input.rest() + last_keys;
    if (!stays_short(keys))
        return -1;
    terminals().screen.set_columns(columns);
    tinyrl *editor = tinyrl_new(terminals().input, terminals().output, 10, nullptr);
    fuzz_require(editor != nullptr, "there is an editor");
    tinyrl_get_settings(editor)->keypress_hook = strike;
    tinyrl_set_timeout(editor, 1);
    terminals().keyboard.type(keys);
    edit(editor, keys.size());
    tinyrl_delete(editor);
    return 0;
}
