// A line in the editor that is drawn for nobody.
#pragma once

#include <functional>
#include <stdio.h>
#include <string>

#include "bench/support/measured.h"
#include "tinyrl/tinyrl.h"

using edited_line_action = std::function<void(tinyrl *)>;

// Calls an action while the line is edited, with the cursor at its end.
inline void while_editing(const std::string &line, edited_line_action action)
{
    FILE *input = fopen("/dev/null", "re");
    FILE *output = fopen("/dev/null", "we");
    tinyrl *editor = tinyrl_new(input, output, 10, nullptr);
    must(editor != nullptr);
    tinyrl_bind_key(editor, '\n', [](tinyrl *edited, int /*key*/) {
        (*static_cast<edited_line_action *>(tinyrl_get_context(edited)))(edited);
        return false; // ends the read
    });
    edited_line_action with_line = [&](tinyrl *edited) {
        must(tinyrl_insert_text(edited, line.data(), line.size()));
        tinyrl_redisplay(edited);
        action(edited);
    };
    must(tinyrl_readline_preset(editor, "> ", &with_line, "") == nullptr);
    tinyrl_delete(editor);
    fclose(input);
    fclose(output);
}
