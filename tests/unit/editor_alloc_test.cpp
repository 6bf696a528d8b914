// The line editor on a terminal with each of its allocations failing in turn.
#include "tests/support/alloc_faults.h"

#include <gtest/gtest.h>
#include <memory>
#include <stdio.h>

#include "tests/support/tinyrl_session.h"

namespace
{

const std::string up = "\x1b[A";
const std::string left = "\x1b[D";
const std::string kill_to_end = "\x0b";
const std::string kill_to_start = "\x15";
const std::string kill_word = "\x17";
const std::string yank = "\x19";

struct editing {
    const char *name;
    std::string keys; // without the one that ends the line
    std::string line;
};

const editing scenarios[] = {
    {"typing", "set /m/c/x 1", "set /m/c/x 1"},
    {"typing a long line", std::string(300, 'x'), std::string(300, 'x')},
    {"killing and yanking", "abc def" + left + left + kill_to_end + yank + yank, "abc defef"},
    {"killing to the start", "abc def" + left + kill_to_start + yank + kill_word + "x", "abc xf"},
    {"walking the history", up + up + "!" + left + left + "+", "secon+d!"},
    {"clearing the screen", std::string("ab\x0c") + "c", "abc"},
};

class editor_alloc_test : public testing::Test
{
  protected:
    static std::unique_ptr<tinyrl_session> start()
    {
        auto session = std::make_unique<tinyrl_session>(40);
        for (const char *line : {"first", "second", "third"})
            session->remember(line);
        return session;
    }

    static bool is_cooked(const tinyrl_session &session, const termios &before)
    {
        termios now = {};
        return tcgetattr(session.keyboard.slave, &now) == 0 && now.c_lflag == before.c_lflag &&
               now.c_iflag == before.c_iflag && now.c_oflag == before.c_oflag;
    }

    // Fails each allocation of a read in turn; returns how many there were.
    static void sweep(const editing &what, bool alone, long *points)
    {
        const long blocks = alloc_blocks;
        for (long calls = 0;; calls++) {
            SCOPED_TRACE(std::string(what.name) + ", allocation " + std::to_string(calls + 1) +
                         (alone ? "" : " and on"));
            auto session = start();
            termios before = {};
            ASSERT_EQ(tcgetattr(session->keyboard.slave, &before), 0);
            alloc_failed = false;
            alloc_fails_once = alone;
            alloc_calls_left = calls;
            const std::string line = session->read(what.keys + "\r");
            alloc_calls_left = -1;
            const bool failed = alloc_failed;
            const std::string drawn = session->all_drawn();
            // A change that was refused rings; a line that could not be kept is none.
            ASSERT_TRUE(line == what.line || line == "(none)" ||
                        drawn.find('\a') != std::string::npos)
                << line;
            ASSERT_TRUE(failed || line == what.line) << line;
            ASSERT_TRUE(is_cooked(*session, before));
            tcflush(session->keyboard.slave, TCIFLUSH);
            ASSERT_EQ(session->read("next" + up + up + up + "\r"), "first");
            session.reset();
            ASSERT_EQ(alloc_blocks, blocks);
            if (!failed)
                return;
            (*points)++;
        }
    }
};

} // namespace

TEST_F(editor_alloc_test, reading)
{
    long points = 0;
    for (const editing &what : scenarios) {
        for (const bool alone : {true, false})
            sweep(what, alone, &points);
    }
    EXPECT_GT(points, 100);
    printf("swept: %zu scenarios, %ld failure points of allocations: the editor\n",
           std::size(scenarios), points);
}

TEST_F(editor_alloc_test, beginning_and_remembering)
{
    long points = 0;
    const long blocks = alloc_blocks;
    for (const bool alone : {true, false}) {
        bool failed = true;
        for (long calls = 0; failed; calls++) {
            alloc_failed = false;
            alloc_fails_once = alone;
            alloc_calls_left = calls;
            struct tinyrl *editor = tinyrl_new(nullptr, nullptr, 2, nullptr);
            if (editor != nullptr) {
                for (const char *line : {"first", "second", "third", "second"})
                    history_add(tinyrl_get_history(editor), line);
            }
            alloc_calls_left = -1;
            failed = alloc_failed;
            ASSERT_TRUE(failed || editor != nullptr);
            if (editor != nullptr)
                tinyrl_delete(editor);
            ASSERT_EQ(alloc_blocks, blocks);
            points += failed ? 1 : 0;
        }
    }
    EXPECT_GT(points, 10);
    printf("swept: 1 scenario, %ld failure points of allocations: the editor's start\n", points);
}
