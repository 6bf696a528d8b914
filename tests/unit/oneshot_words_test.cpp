// Edits of arbitrary words: what the one-shot mode records is what the prompt
// stages, or it is refused and the profile is as it was.
#include <random>

#include "commands/commands.h"
#include "profile/profile.h"
#include "tests/support/profile_world.h"

namespace
{

const char *const workspaces[] = {
    "/m/c",
    "/m/c/l[name=a/b:c]",
    "/m/c/l[name=it's]",
    "/m/c/l[name=5\"]",
    "/m/c/l[name=5\"'s]",
    "/m/c/l[name='a b']",
    "/m/c/l[name=\"[=,]\"]",
    "/m/c/l[name=a\tb]",
};

const char *const rpc_workspaces[] = {"/m/r", "/m/r/pl", "/m/r/pl[n=it's]", "/m/r/pl[n=\"a b\"]"};

const char *const operands[] = {
    "x", "v", "ll", "p", "d", "in[k=%]/w", "l[name=%]/v", "/m/c/l2[k1=%,k2=%]/v", "pl[n=%]/d", "%",
};

const char *const pieces[] = {
    "a",  "b",    "'",    "\"",   "'a b'", "\"c d\"", "it's", "'",  "\"",
    "/",  ":",    "[",    "]",    "=",     ",",       "\r",   "\1", "\2",
    "\3", "\x0b", "\x0c", "\x0d", "\x0e",  " ",       "%s",   "..", "\xc3\xa4",
};

class oneshot_words_test : public profile_world
{
  protected:
    template <size_t Count>
    const char *one_of(const char *const (&texts)[Count])
    {
        return texts[chance() % Count];
    }

    std::string some_text()
    {
        std::string text;
        for (unsigned count = 1 + chance() % 4; count > 0; count--)
            text += one_of(pieces);
        return text;
    }

    std::string some_operand()
    {
        std::string text;
        for (const char *at = one_of(operands); *at != '\0'; at++)
            text += *at == '%' ? some_text() : std::string(1, *at);
        return text;
    }

    static std::string entries()
    {
        std::string text;
        const list_record *record = session.entries != nullptr ? *session.entries : nullptr;
        for (; record != nullptr; record = record->next) {
            for (const list_entry *entry = record->entries; entry != nullptr; entry = entry->next)
                text += std::string(record->path) + " " + entry->key + "\n";
        }
        return text;
    }

    // What is staged, which is dropped then.
    static std::string staged()
    {
        const std::string text = log() + "\n" + log(session.rpc_tree) + "\n" + entries();
        tree_free(&session.config_tree);
        tree_free(&session.rpc_tree);
        local_entries_forget(nullptr, nullptr);
        return text;
    }

    static std::string run(const std::string &line, const char *workspace, bool oneshot)
    {
        stand_at(workspace);
        session.oneshot = oneshot ? 1 : 0;
        return printed_by([&] {
            line.compare(0, 3, "set") == 0 ? cmd_set(line.c_str())
                                           : cmd_add_listentry(line.c_str());
        });
    }

    void check(const std::string &line, const char *workspace)
    {
        SCOPED_TRACE(std::string(workspace) + " $ " + line);
        const std::string prompt_printed = run(line, workspace, false);
        const std::string expected = staged();
        ::remove(profile_name);
        const std::string printed = run(line, workspace, true);
        if (expected == "\n\n") {
            EXPECT_EQ(printed, prompt_printed);
            EXPECT_EQ(profile(), "(no file)");
        } else if (profile() == "(no file)") {
            refusals++;
            EXPECT_EQ(printed.empty(), line.compare(0, 3, "set") != 0);
        } else {
            recorded++;
            EXPECT_EQ(printed, "");
            EXPECT_EQ(profile_load(), profile_replayed);
            EXPECT_EQ(profile_write_back(), 0);
            EXPECT_EQ(staged(), expected);
            EXPECT_EQ(profile_load(), profile_replayed);
            EXPECT_EQ(staged(), expected) << "after it was written back";
        }
    }

    std::minstd_rand chance{1};
    int recorded = 0;
    int refusals = 0;
};

TEST_F(oneshot_words_test, of_the_configuration)
{
    for (int i = 0; i < 4000; i++) {
        const char *workspace = one_of(workspaces);
        const std::string value = chance() % 4 != 0 ? " " + some_text() : "";
        check("set " + some_operand() + value, workspace);
    }
    EXPECT_GT(recorded, 200);
    EXPECT_GT(refusals, 50);
}

TEST_F(oneshot_words_test, of_an_rpc)
{
    set_text(&session.rpc_path, "/m/r");
    for (int i = 0; i < 4000; i++) {
        const char *workspace = one_of(rpc_workspaces);
        if (chance() % 2 != 0)
            check("add-listentry n " + some_text(), workspace);
        else
            check("set " + some_operand() + " " + some_text(), workspace);
    }
    EXPECT_GT(recorded, 200);
    EXPECT_GT(refusals, 50);
}

} // namespace
