// help, its banner, and the table that it prints.
#include "commands/commands.h"

#include <gtest/gtest.h>
#include <regex.h>
#include <string>

#include "shell/command_table.h"
#include "tests/support/captured_output.h"

namespace
{

const std::string all_rows =
    "  help            Display the help information. (help [cmd])\n"
    "  cd              Change the current workspace. (cd path)\n"
    "  ls              List subordinate configurable nodes. \n"
    "  pwd             Print the current workspace. \n"
    "  set             Set value of the configurable node. (set key value|\"v1 v2\")\n"
    "  delete          Delete value of the configurable node. \n"
    "  discard_changes Delete local data. \n"
    "  get             Get value of the configurable node. \n"
    "  get-config      Get value from local, running or startup database. "
    "(get-config -r|-s path or get-config -l [path])\n"
    "  copy-config     Copy source database to target database.\n"
    "  commit          Record changes to the server. \n"
    "  save            Save running database to startup database. \n"
    "  add-listentry   Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)\n"
    "  export-config   Export running or startup database to file. "
    "(export-config running|startup path)\n"
    "  import-config   Import data to running or startup database from file. "
    "(import-config file running|startup)\n"
    "  quit            Quit vandel or quit rpc mode.\n"
    "  delete-config   Delete startup database.\n";

std::string help_on(std::string line)
{
    command_rows_use(command_table);
    captured_output output;
    EXPECT_EQ(cmd_help(line.data()), 0); // which cuts it
    return output.text();
}

// The text behind a banner; a text without one is left whole.
std::string without_banner(const std::string &text)
{
    regex_t banner;
    EXPECT_EQ(regcomp(&banner,
                      "^vandel  version v1\\.0\\.0\n"
                      "compile time: [A-Z][a-z][a-z] [ 123][0-9] [0-9]{4}, "
                      "[0-2][0-9]:[0-5][0-9]:[0-5][0-9]\n",
                      REG_EXTENDED),
              0);
    regmatch_t match = {};
    EXPECT_EQ(regexec(&banner, text.c_str(), 1, &match, 0), 0);
    regfree(&banner);
    return text.substr(static_cast<size_t>(match.rm_eo));
}

TEST(help, alone_prints_the_banner_and_every_row)
{
    EXPECT_EQ(without_banner(help_on("help")), all_rows);
    EXPECT_EQ(without_banner(help_on("help   ")), all_rows);
}

TEST(help, of_a_command_prints_its_row)
{
    EXPECT_EQ(help_on("help help"),
              "  help            Display the help information. (help [cmd])\n");
    EXPECT_EQ(help_on("help   quit  "), "  quit            Quit vandel or quit rpc mode.\n");
    EXPECT_EQ(help_on("help ls"), "  ls              List subordinate configurable nodes. \n");
    EXPECT_EQ(help_on("help discard_changes"), "  discard_changes Delete local data. \n");
}

TEST(help, of_an_unknown_word_prints_every_row)
{
    EXPECT_EQ(help_on("help cdx"), "Unknown command 'cdx'\n" + all_rows);
    EXPECT_EQ(help_on("help CD"), "Unknown command 'CD'\n" + all_rows);
    EXPECT_EQ(help_on("help %n%s"), "Unknown command '%n%s'\n" + all_rows);
}

TEST(help, of_two_words_is_refused)
{
    EXPECT_EQ(help_on("help cd ls"), "error command, please use:help [cmd] \r\n");
}

TEST(help, counts_words_with_quotes_but_takes_the_second_by_blanks)
{
    EXPECT_EQ(help_on("help \"a b\""), "Unknown command '\"a'\n" + all_rows);
}

TEST(help, a_tab_separates_for_the_count_only)
{
    EXPECT_EQ(without_banner(help_on("help\tcd")), all_rows);
}

TEST(help, cuts_the_line_behind_its_second_word)
{
    char line[] = "help cd  ";
    captured_output output;
    cmd_help(line);
    EXPECT_EQ(std::string(line, 8), std::string("help\0cd\0", 8));
}

TEST(version_print, names_version_and_build_time)
{
    captured_output output;
    version_print();
    EXPECT_EQ(without_banner(output.text()), "");
}

} // namespace
