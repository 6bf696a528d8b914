// The workspace, its prompt, and RPC mode.
#include "commands/workspace.h"

#include "commands/rpc_mode.h"
#include "tests/support/profile_world.h"

namespace
{

class workspace_test : public profile_world
{
  protected:
    // Offers a line; its result is kept.
    std::string enter(const char *line)
    {
        return printed_by([&] { result = rpc_mode_enter(line); });
    }

    static std::string state()
    {
        return std::string(session.pwd) + "|" + session.prompt + "|" +
               (session.rpc_path != nullptr ? session.rpc_path : "(none)");
    }

    int result = 99;
};

TEST_F(workspace_test, the_prompt_shows_the_workspace)
{
    workspace_set("/m/c");
    EXPECT_EQ(state(), "/m/c|\n/m/c$ |(none)");
    workspace_set("/");
    EXPECT_EQ(state(), "/|\n/$ |(none)");
    EXPECT_EQ(profile(), "(no file)");
}

TEST_F(workspace_test, workspace_and_prompt_are_unmasked)
{
    workspace_set("/m/c/l[name='a\x01"
                  "b\x02"
                  "c\x03"
                  "d\x0d']");
    EXPECT_EQ(state(), "/m/c/l[name='a/b:c d=']|\n/m/c/l[name='a/b:c d=']$ |(none)");
    workspace_set("/m/%n%s");
    EXPECT_EQ(state(), "/m/%n%s|\n/m/%n%s$ |(none)");
}

TEST_F(workspace_test, the_prompt_in_rpc_mode)
{
    enter_rpc("/m/r");
    workspace_set("/m/r");
    EXPECT_EQ(state(), "/m/r|\n[r]$ |/m/r");
    workspace_set("/m/r/pl[n=a/b]");
    EXPECT_EQ(state(), "/m/r/pl[n=a/b]|\n[r]pl[n=a/b]$ |/m/r");
    workspace_set("/m/r/pc/q");
    EXPECT_EQ(state(), "/m/r/pc/q|\n[r]pc/q$ |/m/r");
}

TEST_F(workspace_test, the_workspace_may_be_set_to_itself)
{
    workspace_set("/m/c");
    workspace_set(session.pwd);
    EXPECT_EQ(state(), "/m/c|\n/m/c$ |(none)");
}

TEST_F(workspace_test, reset)
{
    workspace_set("/m/c");
    workspace_reset();
    EXPECT_EQ(state(), "/|\n/$ |(none)");
    enter_rpc("/m/r");
    workspace_set("/m/r/pc");
    workspace_reset();
    EXPECT_EQ(state(), "/m/r|\n[r]$ |/m/r");
}

TEST_F(workspace_test, one_shot_writes_the_profile)
{
    session.oneshot = 1;
    workspace_set("/m/c");
    EXPECT_EQ(profile(), "[pwd]\n/m/c\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
    workspace_set("/m/c/l[name='a\x01"
                  "b']");
    EXPECT_EQ(profile(),
              "[pwd]\n/m/c/l[name='a/b']\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n");
}

TEST_F(workspace_test, an_rpc_alone_is_entered)
{
    EXPECT_EQ(enter("/m/r"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(state(), "/m/r|\n[r]$ |/m/r");
    EXPECT_EQ(profile(), "(no file)");
}

TEST_F(workspace_test, an_rpc_is_found_from_the_workspace)
{
    workspace_set("/m");
    EXPECT_EQ(enter("r"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(state(), "/m/r|\n[r]$ |/m/r");
}

TEST_F(workspace_test, an_rpc_without_input_is_entered_too)
{
    EXPECT_EQ(enter("/m/bare"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(state(), "/m/bare|\n[bare]$ |/m/bare");
}

TEST_F(workspace_test, words_after_an_rpc_change_nothing)
{
    EXPECT_EQ(enter("/m/r x"), "");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(state(), "/|/$ |(none)");
}

TEST_F(workspace_test, what_is_no_rpc)
{
    for (const char *line : {"/m", "m", "/m/c", "/m/c/x", "/m/c/l[name=1]", "/m/c x y", "/nix",
                             "/m/nix 1", "..", "/m/c/nix[k='a b']", "/"}) {
        EXPECT_NE(enter(line), "") << line;
        EXPECT_EQ(result, -1) << line;
    }
    EXPECT_EQ(state(), "/|/$ |(none)");
}

TEST_F(workspace_test, inside_an_rpc_no_other_is_entered)
{
    enter("/m/r");
    for (const char *line : {"/m/bare", "p", "/m/r", "nix"}) {
        enter(line);
        EXPECT_NE(result, 0) << line;
        EXPECT_EQ(state(), "/m/r|\n[r]$ |/m/r") << line;
    }
}

TEST_F(workspace_test, naming_an_rpc_without_input_inside_itself)
{
    enter("/m/bare");
    EXPECT_NE(enter("/m/bare"), "");
    EXPECT_NE(result, 0);
}

TEST_F(workspace_test, leaving_an_rpc)
{
    enter("/m/r");
    workspace_set("/m/r/pc");
    rpc_mode_leave();
    EXPECT_EQ(state(), "/m|\n/m$ |(none)");
    rpc_mode_leave();
    EXPECT_EQ(state(), "/m|\n/m$ |(none)");
}

TEST_F(workspace_test, a_parent_that_would_be_empty_is_the_root)
{
    enter_rpc("/r");
    rpc_mode_leave();
    EXPECT_EQ(state(), "/|\n/$ |(none)");
}

TEST_F(workspace_test, one_shot_writes_the_rpc)
{
    session.oneshot = 1;
    enter("/m/r");
    EXPECT_EQ(profile(), "[pwd]\n/m/r\n\n[config]\n\n\n[rpc]\n/m/r\n\n"
                         "[rpc_para]\n\n\n%%%\n");
}

TEST_F(workspace_test, one_shot_writes_the_end_of_an_rpc)
{
    set_text(&session.rpc_path, "/m/r");
    set_text(&session.pwd, "/m/r");
    session.oneshot = 1;
    write_file(profile_name, "[pwd]\n/m/r\n\n[config]\n\n\n[rpc]\n/m/r\n\n[rpc_para]\n\n\n%%%\n");
    rpc_mode_leave();
    // "/m" is shorter by two bytes, no rpc by four: the file keeps its length.
    EXPECT_EQ(profile(), "[pwd]\n/m\n\n[config]\n\n\n[rpc]\n\n\n[rpc_para]\n\n\n%%%\n%\n%\n%\n");
}

} // namespace
