// Every command in both modes, run again and again while something fails.
//
// A scenario is a session put in order and one line. It runs once undisturbed,
// which shows what it prints, what it sends and what it leaves behind; then a
// disturbed run may print a message in place of that, but must leave the
// session as it was or as it should become, send nothing else, and leave a
// shell whose next command works.
#pragma once

#include <fstream>
#include <libxml/xmlerror.h>
#include <set>

#include "cmdtree/local_entries.h"
#include "cmdtree/node.h"
#include "profile/profile.h"
#include "shell/arguments.h"
#include "shell/dispatch.h"
#include "shell/startup.h"
#include "tests/support/files.h"
#include "tests/support/shell_world.h"

// Part of the sanitizer, when the program is built with it.
extern "C" {
__attribute__((weak)) void __lsan_disable(void);
__attribute__((weak)) void __lsan_enable(void);
}

struct scenario {
    std::string name;
    std::string line;
    bool oneshot = false;
    std::function<void()> prepare = [] {};
    std::string profile = {};                       // the profile's content; none: no file
    std::string reply = {};                         // what every request is answered with
    std::vector<std::string> texts = {};            // what a disturbed run may print instead
    std::vector<std::function<void()>> others = {}; // each makes another state it may leave
    bool lists = false;      // may also print what it prints without a daemon
    bool loses_tree = false; // a failed exchange loses a tree for good
};

inline void describe(const cmd_node *node, std::string *text)
{
    for (; node != nullptr; node = node->next_sibling) {
        *text += std::to_string(node->operation) + " " + node->path + " " +
                 (node->value != nullptr ? node->value : "(none)") + "\n";
        describe(node->values, text);
        describe(node->children, text);
    }
}

inline void describe(const command_tree *tree, std::string *text)
{
    *text += "tree\n";
    describe(tree->root, text);
    *text += "log\n";
    for (const cmd_node *node = tree->log.first; node != nullptr; node = node->log_next) {
        *text += std::string(node->path) + "\n";
        if (!node->is_value_entry) {
            EXPECT_EQ(tree_find(tree, node->path), node)
                << "the index does not know " << node->path;
        }
    }
}

// Everything that an operator staged or chose, in memory.
inline std::string memory_state()
{
    auto shown = [](const char *text) { return std::string(text != nullptr ? text : "(none)"); };
    std::string text =
        shown(session.pwd) + "|" + shown(session.prompt) + "|" + shown(session.rpc_path) + "\n";
    describe(&session.config_tree, &text);
    describe(&session.rpc_tree, &text);
    const list_record *record = session.entries != nullptr ? *session.entries : nullptr;
    for (; record != nullptr; record = record->next) {
        for (const list_entry *entry = record->entries; entry != nullptr; entry = entry->next)
            text += std::string(record->path) + " " + entry->key + "\n";
    }
    return text;
}

// Everything that outlives a shell that ran one command.
inline std::string profile_state()
{
    std::string text = file_text("/tmp/vandel.conf");
    return text.substr(0, text.find("%%%\n"));
}

class command_sweep : public shell_world
{
  protected:
    static void SetUpTestSuite()
    {
        private_tmp();
        unsetenv("COLUMNS");
    }

    // What one run did.
    struct outcome {
        std::string printed;
        std::string state;
        std::vector<std::string> sent;
        std::string next; // what the following command printed
        int result = 0;
    };

    void make(const scenario &what)
    {
        TearDown();
        SetUp();
        for (const char *path : {"/tmp/vandel.conf", "/tmp/export"})
            ::remove(path);
        sample_schema();
        what.prepare();
        if (!what.profile.empty())
            std::ofstream("/tmp/vandel.conf") << what.profile;
        serve(std::vector<std::string>(24, what.reply));
        captured_log_take();
    }

    static int run_line(const std::string &line, bool oneshot)
    {
        std::string text = line;
        if (!oneshot) {
            dispatch(text.data());
            return 0;
        }
        char *words[] = {text.data(), nullptr};
        return run_oneshot(take_arguments(1, words).get());
    }

    // A session like the one of a shell that has just been started.
    static void start_over()
    {
        tree_free(&session.config_tree);
        tree_free(&session.rpc_tree);
        local_entries_forget(nullptr, nullptr);
        set_text(&session.pwd, "/");
        set_text(&session.prompt, "/$ ");
        set_text(&session.rpc_path, nullptr);
        redis_freeconn(session.redis);
        session.redis = redis_connect();
    }

    std::string next_command(bool oneshot)
    {
        return printed_by([&] {
            if (oneshot) {
                start_over();
                printf("%d\n", run_line("get /o/oc", true));
            } else if (session.rpc_path != nullptr) {
                run_line("get-config -l", false);
                run_line("pwd", false);
            } else {
                run_line("get /o/oc", false);
                run_line("pwd", false);
            }
        });
    }

    // Runs a scenario; arm and disarm surround the line. A connection that breaks
    // stays broken, so the following command may be given another one.
    outcome run(const scenario &what, const std::function<void()> &arm,
                const std::function<void()> &disarm, bool reconnects = false)
    {
        outcome did;
        make(what);
        did.printed = printed_by([&] {
            arm();
            did.result = run_line(what.line, what.oneshot);
            disarm();
        });
        drop_detached(&session.config_tree);
        drop_detached(&session.rpc_tree);
        did.state = state_of(what);
        EXPECT_EQ(session.output.slot[0], nullptr) << "the pool was not released";
        EXPECT_EQ(exchange_trylock(), 0) << "the exchange lock was left held";
        exchange_unlock();
        if (reconnects) {
            did.sent = sent();
            serve({what.reply});
        }
        did.next = next_command(what.oneshot);
        if (!reconnects && server)
            did.sent = sent();
        return did;
    }

    // The requests that arrived, without those of the following command.
    std::vector<std::string> sent()
    {
        shutdown(server_fd, SHUT_WR);
        std::vector<std::string> texts;
        for (const server_frame &frame : server->finish()) {
            const std::string text = without_number(frame.body);
            if (text.find("<oc xmlns=\"urn:o\">") == std::string::npos)
                texts.push_back(text);
        }
        return texts;
    }

    // A request whose message-id does not count.
    static std::string without_number(const std::string &request)
    {
        const size_t from = request.find("message-id");
        const size_t open = request.find('"', from);
        const size_t close = request.find('"', open + 1);
        return from == std::string::npos ? request
                                         : request.substr(0, open) + request.substr(close);
    }

    // A failed exchange leaves its tree detached, in the log alone.
    static void drop_detached(command_tree *tree)
    {
        if (tree->log.first == nullptr)
            return;
        const cmd_node *top = tree->log.first;
        while (top->parent != nullptr)
            top = top->parent;
        if (top == tree->root)
            return;
        while (tree->log.first != nullptr) {
            cmd_node *node = tree->log.first;
            while (node->parent != nullptr)
                node = node->parent;
            tree_free_subtree(tree, node);
        }
    }

    static std::string state_of(const scenario &what)
    {
        return what.oneshot ? profile_state() : memory_state();
    }

    // Whether a disturbed run's output is messages, with or without the output
    // of an undisturbed one after them.
    static bool explained(std::string printed, const std::set<std::string> &normal,
                          const std::vector<std::string> &texts)
    {
        for (bool cut = true; cut && normal.count(printed) == 0;) {
            cut = false;
            for (const std::string &text : texts) {
                if (!text.empty() && printed.compare(0, text.size(), text) == 0) {
                    printed.erase(0, text.size());
                    cut = true;
                    break;
                }
            }
        }
        return printed.empty() || normal.count(printed) != 0;
    }

    // A listing without the stars of active cases.
    static std::string without_stars(std::string listing)
    {
        for (size_t at = listing.find(")*"); at != std::string::npos; at = listing.find(")*"))
            listing.erase(at + 1, 1);
        return listing;
    }

    // Leaves nothing staged in the profile, as if it could not be opened later on.
    static void keep_workspace_only()
    {
        const std::string text = file_text("/tmp/vandel.conf");
        const size_t end = text.find("[config]\n");
        if (end != std::string::npos)
            std::ofstream("/tmp/vandel.conf") << text.substr(0, end + 9);
    }

    // Runs a scenario undisturbed, which shows what is right.
    void learn(const scenario &what)
    {
        auto idle = [] {};
        make(what);
        before = state_of(what);
        normal = run(what, idle, idle);
        EXPECT_EQ(normal.result, 0);
        prints = {normal.printed};
        if (what.lists) {
            prints.insert(without_stars(normal.printed));
            const auto unplug = [this] { disconnect(); };
            prints.insert(run(what, unplug, idle).printed);
            prints.insert(run(what, keep_workspace_only, idle).printed);
        }
        states = {before, normal.state};
        for (const auto &other : what.others) {
            make(what);
            other();
            states.insert(state_of(what));
        }
    }

    // Complains of what a disturbed run left behind; is_exact: also of what it
    // printed and sent.
    std::string complaint(const scenario &what, const outcome &did, bool is_exact = true)
    {
        if (states.count(did.state) == 0) {
            return "it was:\n" + before + "\nand should become:\n" + normal.state + "\nbut is:\n" +
                   did.state;
        }
        return is_exact ? complaint_of_traffic(what, did) : "";
    }

    std::string complaint_of_traffic(const scenario &what, const outcome &did)
    {
        if (!explained(did.printed, prints, what.texts))
            return "it should print:\n" + normal.printed + "\nbut did:\n" + did.printed;
        for (const std::string &request : did.sent) {
            if (std::find(normal.sent.begin(), normal.sent.end(), request) == normal.sent.end())
                return "it sent:\n" + request;
        }
        if (did.state == normal.state && did.next != normal.next)
            return "the next command should print:\n" + normal.next + "\nbut did:\n" + did.next;
        if (did.result != 0 && !(what.oneshot && did.result == -1 && did.printed.empty()))
            return "it ended with " + std::to_string(did.result);
        return "";
    }

    std::string before;
    std::set<std::string> states;
    outcome normal;
    std::set<std::string> prints;
};

inline std::string sweep_profile(const std::string &config, const std::string &rpc = "",
                                 const std::string &parameters = "", const std::string &pwd = "/m")
{
    return "[pwd]\n" + pwd + "\n\n[config]\n" + config + "\n\n[rpc]\n" + rpc + "\n\n[rpc_para]\n" +
           parameters + "\n\n%%%\n";
}
