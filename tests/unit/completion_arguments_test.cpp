// '?' by descriptors of our own: what the command table does not happen to hold.
#include "complete/argument_help.h"
#include "complete/argument_table.h"
#include "tests/support/completion_world.h"

namespace
{

constexpr range_item fast = {"fast", "At full speed."};
constexpr range_item faint = {"faint", nullptr};
constexpr range_item range_end = {nullptr, nullptr};
constexpr range_item speeds[] = {fast, faint, range_end};
constexpr arg_desc args_end = {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};

constexpr arg_desc outside[] = {
    {"file", "Where to.", "string", "--out", nullptr, nullptr},
    {"speed", nullptr, "datastore", "--rate", "fast|faint", speeds},
    {"other", "More.", nullptr, "file", nullptr, nullptr},
    args_end,
};

constexpr arg_desc two_firsts[] = {
    {"speed", "How.", "datastore", nullptr, nullptr, speeds},
    {"again", "Once more.", "datastore", nullptr, nullptr, speeds},
    {"fas", "An option.", "location", nullptr, nullptr, nullptr},
    args_end,
};

constexpr arg_desc odd[] = {
    {"none", "No range.", "datastore", nullptr, nullptr, nullptr},
    {"what", "No type.", nullptr, nullptr, nullptr, nullptr},
    {"key", "No list.", "list_key", nullptr, nullptr, nullptr},
    {"speed", "How.", "datastore", nullptr, nullptr, speeds},
    args_end,
};

constexpr arg_desc followers[] = {
    {"one", "First.", "string", nullptr, nullptr, nullptr},
    {"speed", "By position.", "datastore", "one", nullptr, speeds},
    {"-x", "By the option before it.", "location", "-y", nullptr, nullptr},
    args_end,
};

std::function<void(tinyrl *)> on_key;

bool call_on_key(tinyrl *editor, int /*key*/)
{
    on_key(editor);
    tinyrl_reset_line_state(editor);
    return true;
}

class completion_arguments : public completion_world
{
  protected:
    struck with(const std::string &line, const std::function<void(tinyrl *)> &action)
    {
        on_key = action;
        tinyrl_bind_key(editing->editor, 24, call_on_key);
        return strike(line, 24);
    }

    struck first(const std::string &line, const arg_desc *rows, first_argument_state state)
    {
        const cmd_entry command = {0, "cmd", nullptr, "A command.", rows};
        return with(line, [&](tinyrl *editor) { first_argument_help(editor, &command, state); });
    }

    struck next(const std::string &line, const arg_desc *rows, const char *previous)
    {
        const cmd_entry command = {0, "cmd", nullptr, "A command.", rows};
        return with(line, [&](tinyrl *editor) { next_argument_help(editor, &command, previous); });
    }
};

} // namespace

TEST_F(completion_arguments, a_prerequisite_that_is_no_argument_is_shown)
{
    EXPECT_EQ(first("cmd ", outside, first_argument_to_come).written,
              "  --out     file     string                     Where to.\n"
              "  --rate    speed    datastore    fast|faint    \n"
              "            other                               More.\n"
              "> cmd ");
}

TEST_F(completion_arguments, arguments_by_the_prerequisite_that_is_begun)
{
    EXPECT_EQ(first("cmd --", outside, first_argument_begun).written,
              "  --out     file     string                     Where to.\n"
              "  --rate    speed    datastore    fast|faint    \n"
              "> cmd --");
    EXPECT_EQ(first("cmd --r", outside, first_argument_begun).written,
              "  --rate    speed    datastore    fast|faint    \n"
              "> cmd --r");
    EXPECT_EQ(first("cmd f", outside, first_argument_begun).written, "> cmd f");
    EXPECT_EQ(first("cmd --ratex", outside, first_argument_begun).written, "> cmd --ratex");
}

TEST_F(completion_arguments, each_argument_reads_the_line_that_the_last_one_changed)
{
    EXPECT_EQ(first("cmd f", two_firsts, first_argument_begun),
              (struck{"cmd fa|", "\n  fast     At full speed.\n  faint    \n"
                                 "\n  fast     At full speed.\n  faint    \n"
                                 "\n  fas    An option.\n"
                                 "> cmd fa"}));
    EXPECT_EQ(first("cmd fas", two_firsts, first_argument_begun),
              (struck{"cmd fast|", "\n  fast    At full speed.\n"
                                   "\n  fast    At full speed.\n"
                                   "> cmd fast"}));
    EXPECT_EQ(errors(), std::vector<std::string>{"[ERROR] no matches find.\n"});
}

TEST_F(completion_arguments, nothing_is_inserted_when_all_arguments_are_listed)
{
    EXPECT_EQ(first("cmd ", two_firsts, first_argument_to_come),
              (struck{"cmd |", "      speed    datastore        How.\n"
                               "      again    datastore        Once more.\n"
                               "      fas      location         An option.\n"
                               "\nspeed:\n  fast     At full speed.\n  faint    \n"
                               "\nagain:\n  fast     At full speed.\n  faint    \n"
                               "\n> cmd "}));
}

TEST_F(completion_arguments, an_argument_without_candidates_does_not_stop_the_others)
{
    EXPECT_EQ(first("cmd fa", odd, first_argument_begun),
              (struck{"cmd fa|", "\n  fast     At full speed.\n  faint    \n> cmd fa"}));
    EXPECT_EQ(errors(), (std::vector<std::string>{
                            "[ERROR] range is NULL.\n",
                            "[ERROR] no matches find.\n",
                            "[ERROR] no matches find.\n",
                        }));
}

TEST_F(completion_arguments, what_follows_by_position_and_by_the_word_before)
{
    EXPECT_EQ(next("cmd a f", followers, "a").written,
              "\n  fast     At full speed.\n  faint    \n> cmd a fa");
    EXPECT_EQ(next("cmd a fa", followers, "fast"),
              (struck{"cmd a faint|", "\n  faint    \n> cmd a faint"}));
    EXPECT_TRUE(errors().empty());
    EXPECT_EQ(next("cmd -y -", followers, "-y").written,
              "\n  -x    By the option before it.\n> cmd -y -");
    EXPECT_EQ(errors(), std::vector<std::string>{"[ERROR] no matches find.\n"});
    EXPECT_EQ(next("cmd a ", two_firsts, "a").written, "> cmd a ");
}
