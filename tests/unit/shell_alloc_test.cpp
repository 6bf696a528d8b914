// Every command and module with every single allocation failing: nothing may
// be lost, overrun or left locked, and what is to be told is told.
#include "tests/support/alloc_faults.h"

#include <optional>
#include <set>

#include "base/args.h"
#include "browse/known_entries.h"
#include "browse/server_read.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/node.h"
#include "commands/commands.h"
#include "commands/rpc_mode.h"
#include "commands/workspace.h"
#include "link/server_session.h"
#include "profile/profile.h"
#include "schema/path.h"
#include "schema/place.h"
#include "shell/arguments.h"
#include "shell/dispatch.h"
#include "tests/support/files.h"
#include "tests/support/shell_world.h"

// Part of the sanitizer, when the program is built with it.
extern "C" {
__attribute__((weak)) void __lsan_disable(void);
__attribute__((weak)) void __lsan_enable(void);
}

namespace
{

class shell_alloc_test : public shell_world
{
  protected:
    static void SetUpTestSuite()
    {
        private_tmp();
        unsetenv("COLUMNS");
    }

    // Runs an action with each of its allocations failing in turn, each time
    // in a new world made by `before`; collects what is printed and logged.
    void sweep(const std::function<void()> &before, const std::function<void()> &action)
    {
        testing::internal::CaptureStderr();
        long failures = with_each_allocation_failing(
            [&] {
                TearDown();
                SetUp();
                ::remove("/tmp/vandel.conf");
                sample_schema();
                before();
                captured_log_take();
                output = std::make_unique<captured_output>();
            },
            action,
            [&](bool) {
                printed.insert(output->text());
                output.reset();
                for (const auto &line : captured_log_take())
                    logged.insert(line);
                drop_detached(&session.config_tree);
                drop_detached(&session.rpc_tree);
                EXPECT_EQ(session.output.slot[0], nullptr);
            });
        errors = testing::internal::GetCapturedStderr();
        EXPECT_GT(failures, 0);
    }

    void sweep_line(const std::function<void()> &before, const std::string &line)
    {
        std::vector<char> text;
        sweep(
            [&] {
                before();
                text.assign(line.begin(), line.end());
                text.push_back('\0');
            },
            [&] { dispatch(text.data()); });
    }

    void answering(const std::string &reply)
    {
        serve(std::vector<std::string>(12, reply));
    }

    // A failed exchange leaves its tree detached, in the log alone.
    static void drop_detached(command_tree *tree)
    {
        tree_free(tree);
        while (tree->log.first != nullptr) {
            cmd_node *node = tree->log.first;
            while (node->parent != nullptr)
                node = node->parent;
            tree_free_subtree(tree, node);
        }
    }

    bool was_printed(const std::string &text) const
    {
        for (const std::string &one : printed) {
            if (one.find(text) != std::string::npos)
                return true;
        }
        return false;
    }

    bool was_logged(int priority, const std::string &text) const
    {
        return logged.count({priority, text}) != 0;
    }

    std::unique_ptr<captured_output> output;
    std::set<std::string> printed;
    std::set<std::pair<int, std::string>> logged;
    std::string errors;
};

const std::string ok = "<rpc-reply><ok/></rpc-reply>";
const std::string printed_ok = "<rpc-reply>\n  <ok/>\n  </rpc-reply>\n";

TEST_F(shell_alloc_test, splitting)
{
    int words = -1;
    sweep([] {},
          [&] {
              arg_words vector("set 1 2 3 4 5 6 7 'a b' 9");
              words = vector.argc;
              if (alloc_failed) {
                  EXPECT_EQ(vector.argc, 0);
                  EXPECT_EQ(vector.argv, nullptr);
              }
          });
    EXPECT_EQ(words, 10);
    EXPECT_NE(errors.find("addargs - vasprintf: Cannot allocate memory\n"), std::string::npos);
    EXPECT_NE(errors.find("Fatal error while allocating memory: Cannot allocate memory\n"),
              std::string::npos);
}

TEST_F(shell_alloc_test, joining_and_growing)
{
    sweep([] {},
          [] {
              char words[] = "set\0/m/c/x\0a rather long word, so that what is there has to grow";
              char *starts[] = {words, words + 4, words + 11};
              const heap_text joined = take_arguments(3, starts);
              EXPECT_EQ(joined == nullptr, alloc_failed);
              EXPECT_STREQ(starts[2], "");
              text_buffer buffer;
              for (int i = 0; i < 200; i++) {
                  if (text_append(&buffer, "some text") != 0) {
                      EXPECT_TRUE(alloc_failed);
                      EXPECT_EQ(buffer.length, 0U);
                      EXPECT_EQ(buffer.data, nullptr);
                  }
              }
          });
}

TEST_F(shell_alloc_test, unknown_words)
{
    sweep_line([] {}, "/m/nix[k='a b'] x");
    EXPECT_TRUE(was_printed("/m/nix[k='a: no such command, type 'help' for more information.\n"));
    sweep_line([] {}, "");
}

TEST_F(shell_alloc_test, creating_the_session)
{
    sweep(
        [&] {
            answering("<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><session-id "
                      "xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">5</session-id>"
                      "</rpc-reply>");
        },
        [] {
            int result = session_create();
            EXPECT_EQ(result, alloc_failed ? -1 : 0);
        });
    EXPECT_TRUE(was_logged(11, "[ERROR] Out of memory!\n"));
}

TEST_F(shell_alloc_test, walking)
{
    sweep_line(
        [&] {
            stand_at("/m/c");
            answering(data_reply("<c xmlns=\"urn:m\"><a1>1</a1></c>"));
        },
        "cd sub");
    EXPECT_TRUE(was_logged(15, "[DEBUG] out of memeory\r\n\n"));
    EXPECT_TRUE(was_printed("failed to get descendant\r\n"));
    sweep_line(
        [&] {
            stand_at("/m/c/l");
            tree_stage_config("/m/c/l[name=s]", nullptr, operation_set);
            answering(data_reply("<c xmlns=\"urn:m\"><l><name>a b</name></l></c>"));
        },
        "cd l[name=\"a b\"]");
    sweep_line([&] { stand_at("/m/c/l"); }, "cd ..");
    sweep_line([&] { stand_at("/m/c/l"); }, "cd /");
}

TEST_F(shell_alloc_test, walking_one_shot)
{
    sweep_line(
        [] {
            session.oneshot = 1;
            profile_write_fresh();
        },
        "cd m");
}

TEST_F(shell_alloc_test, listing)
{
    sweep_line(
        [&] {
            stand_at("/m/c");
            answering(data_reply("<c xmlns=\"urn:m\"><a1>1</a1></c>"));
        },
        "ls");
    EXPECT_TRUE(was_logged(11, "[ERROR] error:get ls node \r\n\n"));
    EXPECT_TRUE(was_logged(15, "[DEBUG] error: ls init \r\n\n"));
    EXPECT_TRUE(was_logged(11, "[ERROR] error:get descendant by schema \r\n \n"));
    sweep_line(
        [&] {
            stand_at("/m/c/l2");
            tree_stage_config("/m/c/l2[k1=s,k2=t]", nullptr, operation_set);
            answering(data_reply("<c xmlns=\"urn:m\"><l2><k1>a b</k1><k2>2</k2></l2></c>"));
        },
        "ls");
    EXPECT_TRUE(was_logged(15, "[DEBUG] error:get nclist \r\n \n"));
    EXPECT_TRUE(was_logged(15, "[DEBUG] Build get msg error\n"));
    EXPECT_TRUE(was_logged(15, "[DEBUG] Out of memory!\n"));
}

TEST_F(shell_alloc_test, reading)
{
    sweep_line([&] { answering(ok); }, "get /m/c/l[name='a b']/v");
    EXPECT_TRUE(was_logged(11, "[ERROR] failed to build netconf get msg!\n"));
    EXPECT_TRUE(was_printed("\r\n" + printed_ok));
    sweep_line([&] { answering(ok); }, "get-config -r /m/c/o:box");
    EXPECT_TRUE(was_printed("fail !!\r\n"));
    EXPECT_TRUE(was_printed("recv error!\r\n"));
    sweep_line([] { tree_stage_config("/m/c/id", "o:i", operation_set); }, "get-config -l /m/c");
    EXPECT_TRUE(was_logged(11, "[ERROR] cmdtree2netconf error \r\n\n"));
    EXPECT_TRUE(was_logged(11, "[ERROR] cmdtree2netconf malloc error \r\n\n"));
}

TEST_F(shell_alloc_test, staging)
{
    sweep_line([] {}, "set /m/c/l[name='a b']/v 'c d'");
    EXPECT_TRUE(was_printed("add cmd error!\r\n"));
    sweep_line(
        [] {
            tree_stage_config("/m/c/ll", "1", operation_set);
            tree_stage_config("/m/c/ll", "2", operation_set);
        },
        "set /m/c/ll 3");
    sweep_line([] { enter_rpc("/m/r"); }, "set pc/q 3");
    EXPECT_TRUE(was_logged(15, "[DEBUG] failed to create a local cmd\n"));
    sweep_line([] { session.oneshot = 1; }, "set /m/c/x 3");
    sweep_line([] { tree_stage_config("/m/top", "1", operation_set); }, "delete /m/top");
    EXPECT_FALSE(was_printed("delete cmd error!\r\n")); // it takes no memory
    sweep_line([] { tree_stage_config("/m/c/x", "1", operation_set); }, "delete /m/c");
    EXPECT_TRUE(was_printed("delete cmd error!\r\n"));
    sweep_line([] { tree_stage_config("/m/c/x", "1", operation_set); }, "discard_changes");
}

TEST_F(shell_alloc_test, a_change_that_fails_changes_nothing)
{
    sweep([] { tree_stage_config("/m/c/x", "1", operation_set); },
          [] {
              int result = tree_stage_config("/m/c/sub/z", "2", operation_set);
              EXPECT_EQ(result, alloc_failed ? -1 : 0);
              const cmd_node *x = tree_find(&session.config_tree, "/m/c/x");
              ASSERT_NE(x, nullptr);
              EXPECT_EQ(x->log_next != nullptr, result == 0);
              EXPECT_EQ(tree_find(&session.config_tree, "/m/c/sub") != nullptr, result == 0);
              EXPECT_EQ(x->parent->children == x, result != 0);
          });
}

TEST_F(shell_alloc_test, an_index_that_cannot_grow_still_finds)
{
    sample_schema();
    ASSERT_EQ(tree_stage_config("/m/c/x", "1", operation_set), 0);
    for (int i = 0; i < 2000; i++) {
        std::string path = "/m/c/n" + std::to_string(i);
        alloc_failed = false;
        alloc_calls_left = 1; // enough for the node alone
        int result = tree_stage_config(path.c_str(), nullptr, operation_set);
        alloc_calls_left = -1;
        ASSERT_EQ(result, 0);
    }
    EXPECT_TRUE(alloc_failed);
    EXPECT_NE(tree_find(&session.config_tree, "/m/c/n0"), nullptr);
    EXPECT_NE(tree_find(&session.config_tree, "/m/c/n1999"), nullptr);
    EXPECT_EQ(tree_find(&session.config_tree, "/m/c/n2000"), nullptr);
}

TEST_F(shell_alloc_test, adding_entries)
{
    sweep_line(
        [&] {
            stand_at("/m/c/l2");
            answering(data_reply("<c xmlns=\"urn:m\"><l2><k1>a b</k1><k2>2</k2></l2></c>"));
        },
        "add-listentry k2 'x/y' k1 b");
    EXPECT_TRUE(was_printed("failed to get list's keys \r\n"));
    EXPECT_TRUE(was_printed("failed to get list's key:value \r\n"));
    EXPECT_TRUE(was_printed("failed to add local list \r\n"));
    sweep_line(
        [] {
            session.oneshot = 1;
            stand_at("/m/c/l");
        },
        "add-listentry name a/b");
}

TEST_F(shell_alloc_test, what_a_server_has_is_not_forgotten_when_memory_runs_out)
{
    for (const bool once : {false, true}) {
        std::optional<known_entries> known;
        alloc_fails_once = once;
        sweep(
            [&] {
                known.emplace();
                answering(data_reply("<c xmlns=\"urn:m\"><l><name>a</name></l></c>"));
            },
            [] {
                const auto has = [](const char *name) {
                    return server_has_entry(place_at("/m/c/l", path_scope_session), name);
                };
                EXPECT_FALSE(has("l[name=b]"));
                EXPECT_FALSE(has("l[name=b]"));
                EXPECT_TRUE(has("l[name=a]") || alloc_failed);
                alloc_calls_left = -1;
                EXPECT_TRUE(has("l[name=a]"));
            });
        alloc_fails_once = false;
    }
}

TEST_F(shell_alloc_test, an_entry_is_staged_and_stored_or_neither)
{
    sweep(
        [] {
            enter_rpc("/m/r");
            stand_at("/m/r/pl");
        },
        [] {
            cmd_add_listentry("add-listentry n 1");
            EXPECT_EQ(local_entries_has("/m/r/pl", "pl[n=1]") != 0,
                      tree_find(&session.rpc_tree, "/m/r/pl[n=1]") != nullptr);
        });
}

TEST_F(shell_alloc_test, committing)
{
    auto staged = [&] {
        tree_stage_config("/m/c/l[name=a\x01"
                          "b]/v",
                          "'x y'", operation_set);
        tree_stage_config("/m/c/id", "o:i", operation_set);
        tree_stage_config("/m/c/ll", "1", operation_set);
        tree_stage_config("/m/c/ll", "2", operation_set);
        answering(ok);
    };
    sweep_line(staged, "commit");
    EXPECT_TRUE(was_printed("cmdtree to netconf error \r\n"));
    EXPECT_TRUE(was_printed("Read message failed. \r\n"));
    EXPECT_TRUE(was_printed("\r\n" + printed_ok));
    // The tree of an rpc without input is in no log, so when its exchange fails
    // nothing refers to it any more; what is lost then is not counted.
    if (__lsan_disable != nullptr)
        __lsan_disable();
    sweep_line(
        [&] {
            enter_rpc("/m/r");
            answering(ok);
        },
        "commit");
    if (__lsan_enable != nullptr)
        __lsan_enable();
    sweep_line(
        [&] {
            session.oneshot = 1;
            std::ofstream("/tmp/vandel.conf") << "[pwd]\n/m\n\n[config]\nset /m/c/x 1\n"
                                                 "add /m/c/l l[name=a]\ndelete /m/top\n\n[rpc]\n\n"
                                                 "[rpc_para]\n\n%%%\n";
            answering(ok);
        },
        "commit");
}

TEST_F(shell_alloc_test, an_rpc)
{
    sweep_line([] {}, "/m/r");
    sweep_line(
        [] {
            enter_rpc("/m/r");
            tree_stage_rpc("/m/r/p", "1", operation_set);
        },
        "quit");
    sweep_line(
        [] {
            session.oneshot = 1;
            enter_rpc("/m/r");
        },
        "quit");
}

TEST_F(shell_alloc_test, datastores)
{
    sweep_line([&] { answering(ok); }, "save");
    EXPECT_TRUE(was_printed("Get the reply message of save command is fail! "));
    sweep_line([&] { answering(ok); }, "delete-config");
    EXPECT_TRUE(was_printed("delete config cmd buf malloc fail.\r\n"));
    sweep_line([&] { answering(ok); }, "copy-config running startup");
    EXPECT_TRUE(was_logged(11, "[ERROR] send buf memery malloc fail.\r\n\n"));
    sweep_line(
        [&] {
            tree_stage_config("/m/c/x", std::string(3000, 'x').c_str(), operation_set);
            answering(ok);
        },
        "copy-config config running");
    EXPECT_TRUE(was_logged(11, "[ERROR] cmdtree to netconf error \r\n\n"));
    EXPECT_TRUE(was_logged(11, "[ERROR] reclloc memery fail.\n"));
    EXPECT_TRUE(was_logged(11, "[ERROR] fill target fail.\r\n\n"));
}

TEST_F(shell_alloc_test, files)
{
    sweep_line([&] { answering(data_reply("<c/>")); }, "export-config running /tmp/'e x'");
    EXPECT_TRUE(was_printed("export get config buf malloc fail.\r\n"));
    EXPECT_TRUE(was_printed("write_buf malloc error.\r\nwrite config file fail.\r\n"
                            "export config fail.\r\n"));
    sweep_line(
        [&] {
            std::ofstream("/tmp/import") << "<data>" + std::string(9000, 'd') + "</data>";
            answering(ok);
        },
        "import-config /tmp/import running");
    EXPECT_TRUE(was_logged(11, "[ERROR] data malloc fail.\n"));
}

TEST_F(shell_alloc_test, the_profile)
{
    auto file = [] {
        std::ofstream("/tmp/vandel.conf")
            << "[pwd]\n/m/r\n\n[config]\nset /m/c/x 1\n"
               "add /m/c/l l[name=a]\ndelete /m/top\n\n[rpc]\n/m/r\n\n"
               "[rpc_para]\nset /m/r/p 1\n\n%%%\n";
    };
    sweep(file, [] {
        profile_replay_result result = profile_load();
        EXPECT_EQ(result, alloc_failed ? profile_unread : profile_replayed);
    });
    sweep(file, [] {
        int result = profile_load_start();
        EXPECT_EQ(result, alloc_failed ? -1 : 0);
    });
    sweep(file, [] {
        int result = profile_put_line("[config]", "set /m/c/y 2", profile_append);
        EXPECT_EQ(result, alloc_failed ? -1 : 0);
    });
    sweep(
        [] {
            tree_stage_config("/m/c/x", "1", operation_set);
            local_entries_add("/m/c/l", "l[name=a]");
        },
        [] {
            int result = profile_write_back();
            EXPECT_EQ(result, alloc_failed ? -1 : 0);
        });
    sweep([] {},
          [] {
              int result = profile_write_fresh();
              EXPECT_EQ(result, alloc_failed ? -1 : 0);
          });
}

TEST_F(shell_alloc_test, a_profile_that_cannot_be_built_is_not_touched)
{
    sweep([] { std::ofstream("/tmp/vandel.conf") << "old"; },
          [] {
              if (profile_write_back() != 0) {
                  EXPECT_EQ(file_text("/tmp/vandel.conf"), "old");
              }
          });
}

} // namespace
