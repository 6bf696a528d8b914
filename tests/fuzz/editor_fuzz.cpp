// Keys struck at a terminal, against a model that knows no more than the text,
// the cursor, what was killed, and the lines before.
#include "tests/fuzz/editor_model.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/tinyrl_session.h"

#include <algorithm>

namespace
{

constexpr size_t most_keys = 1000; // that a terminal's input holds at once

// What is struck at last: enough to end any sequence that was begun, and a line.
const char last_keys[] = "\x1bx\x1bx\r";

editor_model *model;

// The model strikes each key before the editor does.
void strike(tinyrl *editor, int key)
{
    fuzz_require_equal(tinyrl_get_line(editor), model->text, "the line is the model's");
    fuzz_require(tinyrl_get_point(editor) == model->point, "the cursor is the model's");
    model->strike(key);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0 || size > most_keys) {
        return -1;
    }
    fuzz_input input(data, size);
    const int columns = static_cast<int>(input.byte()) % 100 + 1;
    const std::string keys = input.rest() + last_keys;
    tinyrl_session editing(columns);
    editor_model expected;
    model = &expected;
    tinyrl_set_keypress_hook(editing.editor, strike);
    editing.keyboard.type(keys);
    while (expected.struck < keys.size()) {
        expected.begin_line();
        char *line = tinyrl_readline(editing.editor, "> ", nullptr);
        fuzz_require(line != nullptr && expected.done, "a read ends where the model's does");
        fuzz_require_equal(line, expected.result(), "the line that is read is the model's");
        if (*line != '\0') {
            history_add(tinyrl_get_history(editing.editor), line);
            expected.remember(line);
        }
        free(line);
        editing.take();
    }
    return 0;
}
