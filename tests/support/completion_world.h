// An operator who strikes Tab or '?' in a shell inside the test's own process.
#pragma once

#include <string>
#include <syslog.h>

#include "complete/completion.h"
#include "shell/command_table.h"
#include "tests/support/shell_world.h"
#include "tests/support/tinyrl_session.h"

// A line with a '|' where the cursor stands, and what a key wrote.
struct struck {
    std::string line;
    std::string written;

    bool operator==(const struck &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const struck &result)
{
    return out << "line \"" << result.line << "\", written \"" << result.written << '"';
}

class completion_world : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        command_rows_use(command_table);
        editing = std::make_unique<tinyrl_session>();
        tinyrl_bind_key(editing->editor, 9, completion_tab_key);
        tinyrl_bind_key(editing->editor, 63, completion_help_key);
    }

    void TearDown() override
    {
        editing.reset();
        shell_world::TearDown();
    }

    // Strikes a key on a line that has a '|' where the cursor is to stand (its
    // end without one). The line must not hold '|' otherwise.
    struck strike(const std::string &line, char key)
    {
        const size_t cursor = std::min(line.find('|'), line.size());
        const std::string behind = cursor < line.size() ? line.substr(cursor + 1) : "";
        std::string keys = line.substr(0, cursor) + behind;
        for (size_t i = 0; i < behind.size(); i++)
            keys += "\x1b[D";
        const std::string ending = "|\x05$\r"; // a last "$" keeps a blank at the end
        std::string result = editing->read(keys + key + ending);
        const std::vector<std::string> &drawn = editing->drawn;
        EXPECT_EQ(result.back(), '$');
        result.pop_back();
        return {result, drawn[drawn.size() - 1 - ending.size()]};
    }

    struck tab(const std::string &line)
    {
        return strike(line, '\t');
    }

    struck help(const std::string &line)
    {
        return strike(line, '?');
    }

    // What has been logged as an error since the last call.
    static std::vector<std::string> errors()
    {
        std::vector<std::string> texts;
        for (const auto &[priority, text] : captured_log_take()) {
            if (priority == (LOG_USER | LOG_ERR))
                texts.push_back(text);
        }
        return texts;
    }

    std::unique_ptr<tinyrl_session> editing;
};
