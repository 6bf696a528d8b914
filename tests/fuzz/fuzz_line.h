// A line that is being edited, without a terminal and without keys that brought
// it there.
#pragma once

#include <functional>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>

#include "tests/fuzz/fuzz_check.h"
#include "tinyrl/editor.h"
#include "tinyrl/tinyrl.h"

// What there is to see after a key was struck.
struct fuzz_struck {
    std::string line;
    size_t point;
    std::string written;
};

class fuzz_line
{
  public:
    fuzz_line() : input(fopen("/dev/null", "re")), output(open_memstream(&written, &written_size))
    {
        fuzz_require(input != nullptr && output != nullptr, "there are streams");
        editor = tinyrl_new(input, output, 10, nullptr);
        tinyrl_bind_key(editor, enter, call_action);
    }

    ~fuzz_line()
    {
        tinyrl_delete(editor);
        fclose(input);
        fclose(output);
        free(written);
    }

    fuzz_line(const fuzz_line &) = delete;
    fuzz_line &operator=(const fuzz_line &) = delete;

    // Calls handler for key on a line in which the cursor stands at point.
    fuzz_struck strike(const std::string &line, size_t point, tinyrl_key_handler *handler, int key)
    {
        fuzz_struck result;
        rewind(output);
        action() = [&](tinyrl *edited) {
            tinyrl_insert_text(edited, line.data(), line.size());
            edited->point = point;
            tinyrl_redisplay(edited);
            handler(edited, key);
            result.line = tinyrl_get_line(edited);
            result.point = tinyrl_get_point(edited);
        };
        fuzz_require(tinyrl_readline_preset(editor, "> ", nullptr, "") == nullptr,
                     "the action ends the read");
        fflush(output);
        result.written = std::string(written, written_size);
        return result;
    }

  private:
    static constexpr int enter = 10;

    static std::function<void(tinyrl *)> &action()
    {
        static std::function<void(tinyrl *)> the_only;
        return the_only;
    }

    static bool call_action(tinyrl *edited, int /*key*/)
    {
        action()(edited);
        return false;
    }

    char *written = nullptr;
    size_t written_size = 0;
    FILE *input;
    FILE *output;
    tinyrl *editor;
};
