// How often a whole command, Tab or '?' asks the schema database: nothing twice.
#include <algorithm>

#include "shell/dispatch.h"
#include "tests/support/completion_world.h"

namespace
{

using asked = std::vector<std::string>;

class database_reads_test : public completion_world
{
  protected:
    void SetUp() override
    {
        completion_world::SetUp();
        sample_schema();
        fake_redis_take_asked();
    }

    // What a line asks for.
    asked run(std::string line)
    {
        fake_redis_take_asked();
        printed_by([&] { dispatch(line.data()); });
        return fake_redis_take_asked();
    }

    static void expect_nothing_twice(asked reads, const std::string &what)
    {
        std::sort(reads.begin(), reads.end());
        const auto twice = std::adjacent_find(reads.begin(), reads.end());
        EXPECT_EQ(twice, reads.end()) << what << ": " << *twice;
    }

    // Runs lines one after the other, each from a workspace.
    void expect_nothing_twice_from(const char *workspace, const std::vector<std::string> &lines)
    {
        for (const std::string &line : lines) {
            stand_at(workspace);
            serve(std::vector<std::string>(20, data_reply(entries)));
            expect_nothing_twice(run(line), line + " in " + workspace);
        }
    }

    const std::string entries =
        "<c xmlns=\"urn:m\"><l><name>a</name></l><l2><k1>1</k1><k2>2</k2></l2>"
        "<b1>1</b1><box xmlns=\"urn:o\"/></c>";
};

TEST_F(database_reads_test, set)
{
    EXPECT_EQ(run("set /m/c/x 1"), asked{"HGET /m/c x"});
    EXPECT_EQ(run("set /m/c/x 2"), asked{"HGET /m/c x"}); // now it is staged already
    stand_at("/m/c");
    EXPECT_EQ(run("set x 3"), (asked{"HGET /m c", "HGET /m/c x"}));
    EXPECT_EQ(run("set b1 1"),
              (asked{"HGET /m c", "HGET /m/c b1", "HGETALL /m/c", "HGETALL /m/c/ch",
                     "HGET /m/c/ch/ca b1", "HGET /m/c/ch/cb b1"}));
    EXPECT_EQ(run("set b1 2").size(), 6U);
}

TEST_F(database_reads_test, set_in_an_rpc)
{
    enter_rpc("/m/r");
    EXPECT_EQ(run("set p 1"), (asked{"HGET /m r", "HGETALL /m/r", "HGET /m/r/input p"}));
    EXPECT_EQ(run("set p 2").size(), 3U);
}

TEST_F(database_reads_test, set_of_what_is_not_there)
{
    // A field that was not found may be one whose reading failed.
    expect_nothing_twice(run("set /m/c/nix 1"), "set of an unknown leaf");
    expect_nothing_twice(run("set /nix/c 1"), "set in an unknown module");
}

TEST_F(database_reads_test, no_more_than_a_command_may_keep)
{
    fake_redis_put_node("/m", "big", fake_choice);
    fake_redis_put("/m/big", "ca", fake_node_record(fake_case) + std::string(33 << 20, 'x'));
    fake_redis_put_node("/m/big/ca", "leaf", fake_leaf);
    EXPECT_EQ(run("set /m/leaf 1"),
              (asked{"HGET /m leaf", "HGET / m", "HGETALL /m", "HGETALL /m/big"}));
    EXPECT_EQ(run("set /m/c/x 1"), asked{"HGET /m/c x"}); // the next one begins anew
}

TEST_F(database_reads_test, reading)
{
    serve(std::vector<std::string>(2, data_reply("")));
    EXPECT_EQ(run("get /m/c/x"), (asked{"HGET /m/c x", "HGET / m"}));
    EXPECT_EQ(run("get-config -r /m/c"), (asked{"HGET /m c", "HGET / m"}));
}

TEST_F(database_reads_test, adding_an_entry)
{
    serve({data_reply(entries)});
    stand_at("/m/c/l2");
    EXPECT_EQ(run("add-listentry k1 5 k2 6"),
              (asked{"HGET /m/c l2", "HGETALL /m/c/l2", "HGET / m"}));
}

TEST_F(database_reads_test, nothing_twice_at_the_root)
{
    expect_nothing_twice_from("/", {
                                       "ls",
                                       "cd /m",
                                       "get /m/c/l[name=a]/v",
                                       "get /m/c/b1",
                                       "get-config -r /m/c/p1",
                                       "get-config -s /m/c/o:box",
                                       "set /m/c/x 1",
                                       "set /m/c/ll 1",
                                       "set /m/c/ll 2",
                                       "set /m/c/l[name=a:b]/in[k=c:d]/w 2",
                                       "set /m/c/l[name=a:b]/in[k=e:f]/w 2",
                                       "set /m/c/id m:x",
                                       "set /m/c/un o:x",
                                       "set /m/c/o:box/lid 1",
                                       "set /m/c/a2/deep m:x",
                                       "set /m/c/p1 1",
                                       "set /m/c/p1 2",
                                       "set /m/top 1",
                                       "set /o/oc/leaf 1",
                                       "get-config -l",
                                       "get-config -l /m/c/l[name=a:b]",
                                       "delete /m/c/x",
                                       "delete /m/c/b1",
                                       "delete /m/c/l[name=a]",
                                       "delete /m/c/ll 1",
                                       "delete /m/c/l",
                                       "commit",
                                       "/m/c",
                                       "/m/nix",
                                       "/m/bare",
                                   });
}

TEST_F(database_reads_test, nothing_twice_below)
{
    expect_nothing_twice_from("/m/c", {"ls", "cd sub", "cd l", "cd a2", "cd b1", "cd ..", "set x 1",
                                       "set p1 1", "get l", "delete sub", "r"});
    expect_nothing_twice_from("/m/c/l", {"ls", "cd l[name=a]", "set l[name=a]/v 1",
                                         "delete l[name=a]", "add-listentry name b",
                                         "add-listentry name a:c", "get l[name=a]", "cd nix"});
    expect_nothing_twice_from("/m/c/l[name=a]", {"ls", "cd in", "set v 1", "set in[k=1]/w 2"});
}

TEST_F(database_reads_test, nothing_twice_in_an_rpc)
{
    enter_rpc("/m/r");
    expect_nothing_twice_from("/m/r", {"ls", "cd pc", "cd pl", "set p 1", "set p 2", "set pc/q 1",
                                       "set pl[n=1]/d 1", "get-config -l", "/m/r", "commit"});
    enter_rpc("/m/r");
    expect_nothing_twice_from("/m/r/pl", {"ls", "add-listentry n 1", "cd pl[n=1]"});
}

TEST_F(database_reads_test, nothing_twice_for_the_keys)
{
    for (const char *workspace : {"/", "/m/c", "/m/c/l", "/m/c/l[name=a]", "/m/c/l2"}) {
        for (const char *line : {"", "s", "set ", "set /m/c/", "set p", "cd /m/c/",
                                 "get /m/c/l[name=a]/", "get-config -r ", "get-config -r /m/c/",
                                 "add-listentry ", "add-listentry k1 1 ", "delete ", "/m/"}) {
            stand_at(workspace);
            serve(std::vector<std::string>(40, data_reply(entries)));
            fake_redis_take_asked();
            tab(line);
            expect_nothing_twice(fake_redis_take_asked(), std::string("Tab after ") + line);
            help(line);
            expect_nothing_twice(fake_redis_take_asked(), std::string("'?' after ") + line);
        }
    }
}

} // namespace
