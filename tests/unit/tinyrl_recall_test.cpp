// Walking through the history, and what becomes of recalled lines.
#include <gtest/gtest.h>
#include <string>

#include "tests/support/tinyrl_session.h"

#define UP "\x1b[A"
#define DOWN "\x1b[B"
#define LEFT "\x1b[D"

namespace
{

// How often the bell rang in the last read.
long bells(tinyrl_session &session)
{
    long count = 0;
    for (char byte : session.all_drawn())
        count += byte == '\a' ? 1 : 0;
    return count;
}

} // namespace

TEST(tinyrl_recall, history_up_and_down)
{
    tinyrl_session session;
    session.remember("one");
    session.remember("two");
    EXPECT_EQ("two", session.read(UP "\r"));
    EXPECT_EQ("one", session.read(UP UP "\r"));
    EXPECT_EQ(0, bells(session));
    EXPECT_EQ("two", session.read(UP UP DOWN "\r"));
    EXPECT_EQ(0, bells(session));
}

TEST(tinyrl_recall, up_at_the_oldest_rings_and_stays)
{
    tinyrl_session session;
    session.remember("one");
    session.remember("two");
    EXPECT_EQ("one", session.read(UP UP UP "\r"));
    EXPECT_EQ(1, bells(session));
    EXPECT_EQ("two", session.read(UP UP UP UP DOWN "\r"));
    EXPECT_EQ(2, bells(session));
}

TEST(tinyrl_recall, up_without_history_rings)
{
    tinyrl_session session;
    EXPECT_EQ("ab", session.read("a" UP "b\r"));
    EXPECT_EQ(1, bells(session));
}

TEST(tinyrl_recall, down_past_the_newest_gives_back_what_was_typed)
{
    tinyrl_session session;
    session.remember("one");
    session.remember("two");
    EXPECT_EQ("draftx", session.read("draft" LEFT UP DOWN "x\r"));
    EXPECT_EQ(0, bells(session));
    EXPECT_EQ("draft", session.read("draft" UP UP DOWN DOWN "\r"));
    EXPECT_EQ(0, bells(session));
}

TEST(tinyrl_recall, down_while_typing_rings)
{
    tinyrl_session session;
    session.remember("one");
    EXPECT_EQ("ab", session.read("a" DOWN "b\r"));
    EXPECT_EQ(1, bells(session));
    EXPECT_EQ("a", session.read("a" UP DOWN DOWN "\r"));
    EXPECT_EQ(1, bells(session));
}

TEST(tinyrl_recall, recalled_line_has_the_cursor_at_its_end)
{
    tinyrl_session session;
    session.remember("long line");
    session.remember("ab");
    EXPECT_EQ("abx", session.read("abcdefgh\x01" UP "x\r"));
    EXPECT_EQ("long linex", session.read(UP "\x01" UP "x\r"));
}

TEST(tinyrl_recall, editing_a_recalled_line_edits_a_copy)
{
    tinyrl_session session;
    session.remember("one");
    session.remember("two");
    EXPECT_EQ("twoX", session.read(UP "X\r"));
    EXPECT_EQ("tw", session.read(UP "\x7f\r"));
    EXPECT_EQ("wo", session.read(UP "\x01\x04\r"));
    EXPECT_EQ("", session.read(UP "\x15\r"));
    EXPECT_EQ("", session.read(UP "\x01\x0b\r"));
    EXPECT_EQ("", session.read(UP "\x17\r"));
    EXPECT_EQ("two", session.read(UP "\r"));
    EXPECT_EQ("one", session.read(UP UP "\r"));
}

TEST(tinyrl_recall, after_an_edit_up_starts_at_the_newest_again)
{
    tinyrl_session session;
    session.remember("one");
    session.remember("two");
    EXPECT_EQ("two", session.read(UP UP "x" UP "\r"));
    EXPECT_EQ("onex", session.read(UP UP "x" UP DOWN "\r"));
    EXPECT_EQ("onex", session.read(UP UP "x" DOWN "\r"));
    EXPECT_EQ(1, bells(session));
}

TEST(tinyrl_recall, keys_that_change_nothing_keep_the_place_in_the_history)
{
    tinyrl_session session;
    session.remember("one");
    session.remember("two");
    EXPECT_EQ("one", session.read(UP "\x0b\x01\x15\x17\x08\x05\x04" UP "\r"));
}

TEST(tinyrl_recall, each_read_starts_at_the_newest)
{
    tinyrl_session session;
    session.remember("one");
    session.remember("two");
    EXPECT_EQ("one", session.read(UP UP "\r"));
    EXPECT_EQ("two", session.read(UP "\r"));
    EXPECT_EQ("", session.read(DOWN "\r"));
    EXPECT_EQ(1, bells(session));
}

TEST(tinyrl_recall, history_of_ten)
{
    tinyrl_session session;
    for (const char *line : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j", "k"})
        session.remember(line);
    EXPECT_EQ("b", session.read(UP UP UP UP UP UP UP UP UP UP UP UP "\r"));
    EXPECT_EQ(2, bells(session));
}

TEST(tinyrl_recall, interrupt_leaves_a_recalled_line_in_the_history)
{
    tinyrl_session session;
    session.remember("ls -l");
    EXPECT_EQ("", session.read(UP "\x03"));
    EXPECT_EQ("ls -l", session.read(UP "\r"));
}

TEST(tinyrl_recall, trailing_blank_of_a_recalled_line_stays_in_the_history)
{
    tinyrl_session session;
    session.remember("ls ");
    EXPECT_EQ("ls", session.read(UP "\r"));
    EXPECT_EQ("ls x", session.read(UP "x\r"));
    EXPECT_STREQ("ls ", history_get(tinyrl_get_history(session.editor), 1)->line);
}
