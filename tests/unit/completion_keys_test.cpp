// Tab and '?' over a schema in memory: candidates, their order, what is asked
// of the server, and lines of any bytes.
#include "tests/support/completion_world.h"

#include <random>

namespace
{

const std::string bell = "\a";

class completion_keys : public completion_world
{
  protected:
    void SetUp() override
    {
        completion_world::SetUp();
        sample_schema();
    }

    static std::string list_reply(const std::string &entries)
    {
        return data_reply("<c xmlns=\"urn:m\">" + entries + "</c>");
    }

    static std::string entry_of_l(const std::string &name)
    {
        return "<l><name>" + name + "</name></l>";
    }
};

} // namespace

TEST_F(completion_keys, commands_come_before_rpcs_and_these_last_first)
{
    stand_at("/m");
    fake_redis_put_node("/m", "commission", fake_rpc);
    fake_redis_put_node("/m", "compute", fake_rpc);
    EXPECT_EQ(tab("co").written, "\ncopy-config commit      compute     commission  \n> co");
    EXPECT_EQ(help("co").written, "\n"
                                  "  copy-config    Copy source database to target database.\n"
                                  "  commit         Record changes to the server. \n"
                                  "  compute        \n"
                                  "  commission     \n"
                                  "> co\a");
}

TEST_F(completion_keys, an_rpc_named_like_a_command_has_no_help)
{
    stand_at("/m");
    fake_redis_put_node("/m", "save", fake_rpc);
    EXPECT_EQ(help("sa").written,
              "\n  save    Save running database to startup database. \n  save    \n> save\a");
}

TEST_F(completion_keys, rpcs_are_looked_for_among_the_nodes_own_children)
{
    fake_redis_put_node("/m/c/ch/ca", "xcall", fake_rpc);
    fake_redis_put_node("/m/c", "xdial", fake_rpc);
    stand_at("/m/c");
    serve({});
    EXPECT_EQ(tab("x"), (struck{"xdial|", "dial"}));
    EXPECT_TRUE(requests().empty());
}

TEST_F(completion_keys, rpcs_of_a_list_and_of_its_entries)
{
    fake_redis_put_node("/m/c/l[]", "xdial", fake_rpc);
    serve({});
    stand_at("/m/c/l[name=a/b]");
    EXPECT_EQ(tab("x").line, "xdial|");
    stand_at("/m/c/l");
    EXPECT_EQ(tab("x"), (struck{"x|", bell}));
    EXPECT_TRUE(requests().empty());
}

TEST_F(completion_keys, the_root_has_modules_and_no_rpcs)
{
    fake_redis_put("/", "xmodule", fake_node_record(fake_rpc, true, "", std::string(40, 'h')));
    EXPECT_EQ(tab("x"), (struck{"x|", bell}));
    EXPECT_EQ(tab("cd x").line, "cd xmodule/|");
}

TEST_F(completion_keys, a_path_of_one_absolute_level_is_not_completed)
{
    EXPECT_EQ(tab("cd /"), (struck{"cd /|", bell}));
    EXPECT_EQ(tab("cd /m"), (struck{"cd /m|", bell}));
    EXPECT_EQ(tab("cd /o/"), (struck{"cd /o/oc/|", "oc/"}));
    stand_at("/m");
    EXPECT_EQ(tab("cd /c/su"), (struck{"cd /c/sub/|", "b/"}));
    EXPECT_EQ(tab("cd /m/c/su"), (struck{"cd /m/c/su|", bell}));
}

TEST_F(completion_keys, look_ups_of_rpcs_that_fail_leave_the_commands)
{
    for (const fake_reply reply : {fake_reply_null, fake_reply_nil, fake_reply_error,
                                   fake_reply_integer, fake_reply_odd, fake_reply_mixed}) {
        stand_at("/m");
        fake_redis_answer("/m", reply);
        EXPECT_EQ(tab("r"), (struck{"r|", bell}));
        EXPECT_EQ(tab("pw").line, "pwd|");
    }
    fake_redis_answer("/m", fake_reply_true);
    fake_redis_fail_after(0);
    EXPECT_EQ(tab("r"), (struck{"r|", bell}));
    EXPECT_EQ(tab("pw").line, "pwd|");
    fake_redis_fail_after(-1);
    for (const char *path : {"/nowhere", "/m/nowhere", "/m/c/nowhere/x", "not a path", ""}) {
        stand_at(path);
        EXPECT_EQ(tab("pw").line, "pwd|");
        EXPECT_EQ(help("r"), (struck{"r|", bell}));
    }
}

TEST_F(completion_keys, children_and_then_those_of_every_case)
{
    fake_redis_put_node("/m/c/ch/ca", "s-a", fake_leaf);
    fake_redis_put_node("/m/c/ch/cb/nest/n2", "s-n", fake_leaf, true, "string", "Nested.");
    fake_redis_put_node("/m/c", "ch2", fake_choice);
    fake_redis_put_node("/m/c/ch2", "one", fake_case);
    fake_redis_put_node("/m/c/ch2/one", "s-2", fake_container);
    EXPECT_EQ(tab("set m/c/s").written, "\nsub/ s-2/ s-a  s-n  \n> set m/c/s");
    EXPECT_EQ(help("set m/c/s").written, "\n  sub/    \n  s-2/    \n  s-a     \n  s-n     Nested.\n"
                                         "\r\n> set m/c/s\a");
}

TEST_F(completion_keys, a_case_that_cannot_be_read_offers_nothing)
{
    fake_redis_answer("/m/c/ch", fake_reply_error);
    EXPECT_EQ(tab("set m/c/"), (struck{"set m/c/|", bell}));
    EXPECT_EQ(errors(), std::vector<std::string>{"[ERROR] error:get descendant by schema \r\n \n"});
}

TEST_F(completion_keys, entries_of_the_server_and_staged_ones)
{
    stand_at("/m/c/l");
    ASSERT_EQ(tree_stage_config("/m/c/l[name=s\1t]", nullptr, operation_set), 0);
    ASSERT_EQ(tree_stage_config("/m/c/l[name=b]", nullptr, operation_set), 0);
    ASSERT_EQ(tree_stage_config("/m/c/l[name=d]", nullptr, operation_delete), 0);
    const std::string reply = list_reply(entry_of_l("a:b") + entry_of_l("b") + entry_of_l("c d"));
    serve({reply, reply, reply});
    EXPECT_EQ(tab("cd "), (struck{"cd l[name=|", "l[name="}));
    EXPECT_EQ(tab("cd l[name=").written,
              "\nl[name=\"c d\"]/ l[name=a:b]/   l[name=s/t]/   l[name=b]/     \n> cd l[name=");
    EXPECT_EQ(tab("cd l[name=s/"), (struck{"cd l[name=s/t]/|", "t]/"}));
    EXPECT_EQ(requests().size(), 3U);
    EXPECT_TRUE(errors().empty());
}

TEST_F(completion_keys, entries_of_an_inner_list)
{
    serve({list_reply(entry_of_l("x/y"))});
    EXPECT_EQ(tab("set m/c/l/"), (struck{"set m/c/l/l[name=x/y]/|", "l[name=x/y]/"}));
    EXPECT_EQ(tab("set m/c/l[name=x/y]/i"), (struck{"set m/c/l[name=x/y]/in/|", "n/"}));
    EXPECT_EQ(requests().size(), 1U);
}

TEST_F(completion_keys, in_an_rpc_staged_entries_only)
{
    enter_rpc("/m/r");
    serve({});
    EXPECT_EQ(tab("set p").written, "\npl/ pc/ p   \n> set p");
    EXPECT_EQ(tab("set pl/"), (struck{"set pl/|", bell}));
    ASSERT_EQ(tree_stage_rpc("/m/r/pl[n=1]", nullptr, operation_set), 0);
    EXPECT_EQ(tab("set pl/").line, "set pl/pl[n=1]/|");
    EXPECT_EQ(tab("set pl[n=1]/").written, "\nd n \n> set pl[n=1]/");
    EXPECT_EQ(tab("set ../"), (struck{"set ../|", bell}));
    EXPECT_EQ(tab("b"), (struck{"b|", bell}));
    EXPECT_TRUE(requests().empty());
}

TEST_F(completion_keys, without_a_connection_to_the_database)
{
    redis_freeconn(session.redis);
    session.redis = nullptr;
    EXPECT_EQ(tab("set "), (struck{"set |", bell}));
    EXPECT_EQ(help("set m/"), (struck{"set m/|", "\n\r\n> set m/\a"}));
    EXPECT_EQ(tab("pw").line, "pwd|");
}

TEST_F(completion_keys, keys_of_a_list)
{
    stand_at("/m/c/l2");
    EXPECT_EQ(tab("add-listentry "), (struck{"add-listentry k|", "k"}));
    EXPECT_EQ(tab("add-listentry k").written, "\nk2 k1 \n> add-listentry k");
    EXPECT_EQ(tab("add-listentry k1 v k").line, "add-listentry k1 v k2|");
    EXPECT_EQ(tab("add-listentry k1 k"), (struck{"add-listentry k1 k|", bell}));
    EXPECT_EQ(tab("add-listentry a v b v k").line, "add-listentry a v b v k|");
    EXPECT_EQ(tab("add-listentry a v b v c v k"), (struck{"add-listentry a v b v c v k|", bell}));
    EXPECT_EQ(tab("add-listentry k1 \"a b\" k").line, "add-listentry k1 \"a b\" k2|");
    EXPECT_EQ(tab("add-listentry k1 k2 k").line, "add-listentry k1 k2 k2|");
    EXPECT_EQ(tab("add-listentry m:k1 v k").line, "add-listentry m:k1 v k2|");
    stand_at("/m/c/l2[k1=a,k2=b]");
    EXPECT_EQ(tab("add-listentry k").written, "\nk2 k1 \n> add-listentry k");
    fake_redis_answer("/m/c/l2", fake_reply_error);
    EXPECT_EQ(tab("add-listentry k"), (struck{"add-listentry k|", bell}));
    for (const char *path : {"/", "/m", "/m/c", "/m/c/x", "/nowhere", "/m/c/nowhere"}) {
        stand_at(path);
        EXPECT_EQ(tab("add-listentry "), (struck{"add-listentry |", bell})) << path;
    }
}

TEST_F(completion_keys, a_unique_candidate_is_inserted_over_what_is_typed)
{
    EXPECT_EQ(tab("set m/to"), (struck{"set m/top|", "p"}));
    EXPECT_EQ(tab("set m/to|/x"), (struck{"set m/top|x", "px\x1b[1D\x1b[1C\x1b[1D"}));
    EXPECT_EQ(tab("comm|").line, "commit|");
    EXPECT_EQ(tab("commit").line, "commit|");
    EXPECT_EQ(tab("commit").written, "");
}

TEST_F(completion_keys, a_candidate_that_does_not_fit_fails)
{
    tinyrl_get_settings(editing->editor)->max_line_length = 7;
    EXPECT_EQ(editing->read("disc\t\r"), "disc");
    EXPECT_EQ(editing->drawn_last(2), "\a\a\n");
    EXPECT_EQ(editing->read("de?\r"), "de");
    tinyrl_get_settings(editing->editor)->max_line_length = 0;
}

TEST_F(completion_keys, names_are_never_cut_or_filled)
{
    const std::string name(5000, 'n');
    fake_redis_put_node("/o", name, fake_leaf, true, "", std::string(9000, 'h'));
    EXPECT_EQ(tab("set o/n").line, "set o/" + name + "|");
    EXPECT_EQ(help("set o/n").written,
              "\n  " + name + "    " + std::string(9000, 'h') + "\n\r\n> set o/" + name + "\a");
}

TEST_F(completion_keys, a_question_mark_never_enters_the_line)
{
    for (const char *line :
         {"", "c", "cd ", "cd m", "set m/top", "set m/top ", "x", "x y", "ls "}) {
        const struck result = help(line);
        EXPECT_EQ(result.line.find('?'), std::string::npos);
        EXPECT_EQ(result.written.back(), '\a');
    }
}

TEST_F(completion_keys, a_history_entry_keeps_its_text)
{
    const std::string line = "set m/to";
    for (const char key : {'\t', '?'}) {
        editing->remember(line.c_str());
        EXPECT_EQ(editing->read(std::string("\x1b[A") + key + "\r"), "set m/top");
        EXPECT_EQ(editing->read("\x1b[A\r"), line);
    }
    const std::string quoted = "set m/top \"a b\" 'c d'";
    editing->remember(quoted.c_str());
    EXPECT_EQ(editing->read("\x1b[A\t?\r"), quoted);
    EXPECT_EQ(editing->read("\x1b[A\r"), quoted);
}

// Lines of words, punctuation and any bytes, with the cursor anywhere: what
// stands after the cursor stays (but for its first byte), Tab never shortens
// what is typed, and the bell rings for every '?'.
TEST_F(completion_keys, lines_of_anything)
{
    const std::string pieces[] = {
        "set ",
        "cd ",
        "get-config -l ",
        "copy-config ",
        "add-listentry ",
        "m/c/",
        "l[name=",
        "l[",
        "]",
        "=",
        "/",
        "\"",
        "'",
        " ",
        "../",
        "./",
        "m",
        "running ",
        "x",
        "k1 ",
        ",",
        "\x80z",
        "\xff\xfe",
        "%s%n",
        ":",
        "c",
        "help ",
        "o:box/",
    };
    std::mt19937 random(20240607);
    const auto below = [&random](size_t limit) { return random() % limit; };
    for (int round = 0; round < 3000; round++) {
        std::string line;
        for (size_t count = below(8); count > 0; count--)
            line += pieces[below(std::size(pieces))];
        const size_t cursor = below(line.size() + 1);
        const char *const workspaces[] = {"/", "/m", "/m/c", "/m/c/l", "/m/c/l[name=a/b]"};
        stand_at(workspaces[below(std::size(workspaces))]);
        const std::string marked = line.substr(0, cursor) + "|" + line.substr(cursor);
        const char key = below(2) == 0 ? '\t' : '?';
        const struck result = strike(marked, key);
        const size_t mark = result.line.find('|');
        const std::string behind = result.line.substr(mark + 1);
        const std::string untouched = line.substr(cursor);
        EXPECT_TRUE(behind == untouched || behind == untouched.substr(!untouched.empty()))
            << marked << " became " << result.line;
        EXPECT_GE(mark, cursor) << marked << " became " << result.line;
        EXPECT_EQ(result.line.substr(0, cursor), line.substr(0, cursor)) << marked;
        if (key == '?') {
            EXPECT_NE(result.written.find('\a'), std::string::npos);
        }
    }
}
