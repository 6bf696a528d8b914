// The scenarios of the sweeps (tests/support/command_sweep.h): every command of
// the table, and the lines that are none, in both modes.
#pragma once

#include "tests/support/command_sweep.h"

namespace scenarios
{

inline const std::string ok_reply =
    "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><ok/></rpc-reply>";
inline const std::string entries_reply =
    data_reply("<c xmlns=\"urn:m\"><a1>1</a1><l><name>a b</name></l><l><name>c/d</name></l>"
               "<l2><k1>p</k1><k2>q</k2></l2></c>");

inline std::string wrong_operand(const std::string &operand)
{
    return "error parameter: " + operand + "\r\n";
}

inline void stage_some()
{
    tree_stage_config("/m/c/l[name=a\x01z]/v", "'x y'", operation_set);
    tree_stage_config("/m/c/l[name=s]", nullptr, operation_set);
    local_entries_add("/m/c/l", "l[name=s]");
    tree_stage_config("/m/c/id", "o:i", operation_set);
    tree_stage_config("/m/c/ll", "1", operation_set);
    tree_stage_config("/m/c/ll", "2", operation_set);
    tree_stage_config("/m/top", nullptr, operation_delete);
}

inline void drop_staged()
{
    tree_free(&session.config_tree);
}

inline void stand(const char *path)
{
    free(session.pwd);
    free(session.prompt);
    session.pwd = strdup(path);
    session.prompt = strdup(("\n" + std::string(path) + "$ ").c_str());
}

inline void call_rpc(const char *rest, const char *prompt)
{
    stand(("/m/r" + std::string(rest)).c_str());
    free(session.prompt);
    session.prompt = strdup(prompt);
    free(session.rpc_path);
    session.rpc_path = strdup("/m/r");
}

inline void in_rpc()
{
    call_rpc("", "\n[r]$ ");
    tree_stage_rpc("/m/r/p", "1", operation_set);
    tree_stage_config("/m/c/x", "kept", operation_set);
    tree_stage_rpc("/m/r/pl[n=e]", nullptr, operation_set);
    local_entries_add("/m/r/pl", "pl[n=e]");
}

// What is left behind when only some of the steps are taken that write a profile.
inline std::vector<std::function<void()>> some_of(const std::vector<std::function<void()>> &steps)
{
    std::vector<std::function<void()>> all;
    for (size_t chosen = 0; chosen < size_t{1} << steps.size(); chosen++) {
        all.push_back([steps, chosen] {
            for (size_t i = 0; i < steps.size(); i++) {
                if ((chosen >> i & 1) != 0)
                    steps[i]();
            }
        });
    }
    return all;
}

inline std::function<void()> profile_step(const char *section, const char *line)
{
    return [section, line] { profile_put_line(section, line, profile_replace); };
}

inline void lose_profile()
{
    ::remove("/tmp/vandel.conf");
}

inline std::vector<scenario> navigating()
{
    const std::vector<std::string> no_way = {
        "failed to get descendant\r\n",
        "error: child node is not existed or another choice case is set.\r\n",
        "cd cmd only takes one layer relative path as parameters!\r\n",
        "error command, please use:cd path\r\n"};
    auto cd = [&](const std::string &name, const std::string &from, const std::string &operand) {
        scenario one = {"cd " + name, "cd " + operand};
        one.prepare = [from] { stand(from.c_str()); };
        one.reply = entries_reply;
        one.texts = no_way;
        one.texts.push_back(wrong_operand(operand));
        return one;
    };
    auto later = [&](scenario one, const std::string &from) {
        one.name += ", one-shot";
        one.oneshot = true;
        one.prepare = [] {};
        one.profile =
            sweep_profile("set /m/c/x 1\nset /m/c/l[name=a]\nadd /m/c/l l[name=a]", "", "", from);
        return one;
    };
    scenario down = cd("down", "/m/c", "sub");
    down.reply = data_reply("");
    scenario choice = cd("into a case", "/m/c", "a2");
    choice.reply = data_reply("<c xmlns=\"urn:m\"><a1>1</a1></c>");
    scenario entry = cd("into an entry", "/m/c/l", "l[name=\"a b\"]");
    // The second one takes a document.
    entry.reply =
        data_reply("<c xmlns=\"urn:m\"><l><name>a b</name></l><l><name>&lt;</name></l></c>");
    const scenario up = cd("up", "/m/c/l[name=a]", "..");
    const scenario root = cd("to the root", "/m/c", "/");
    scenario rpc_root = cd("to the rpc", "/", "/");
    rpc_root.prepare = [] { call_rpc("/pc", "\n[r]pc$ "); };
    return {down,
            choice,
            entry,
            up,
            root,
            rpc_root,
            later(down, "/m/c"),
            later(entry, "/m/c/l"),
            later(up, "/m/c/l[name=a]"),
            later(root, "/m/c")};
}

inline std::vector<scenario> looking()
{
    scenario help = {"help", "help"};
    help.texts = {"error command, please use:help [cmd] \r\n"};
    scenario help_word = {"help of one", "help ls"};
    help_word.texts = help.texts;
    scenario pwd = {"pwd", "pwd"};
    pwd.texts = {"error command, please use:pwd (no param)\r\n"};
    scenario ls = {"ls", "ls"};
    ls.prepare = [] {
        stand("/m/c");
        stage_some();
    };
    ls.reply = entries_reply;
    ls.texts = {"error command, please use:ls (no param)\r\n"};
    ls.lists = true;
    scenario ls_list = ls;
    ls_list.name = "ls of a list";
    ls_list.prepare = [] {
        stand("/m/c/l");
        stage_some();
    };
    scenario ls_root = ls;
    ls_root.name = "ls of the root";
    ls_root.prepare = [] {};
    scenario ls_rpc = ls;
    ls_rpc.name = "ls in an rpc";
    ls_rpc.prepare = in_rpc;
    scenario ls_later = ls;
    ls_later.name = "ls, one-shot";
    ls_later.oneshot = true;
    ls_later.prepare = [] {};
    ls_later.profile =
        sweep_profile("set /m/c/l[name=a]\nadd /m/c/l l[name=a]\ndelete /m/top", "", "", "/m/c/l");
    return {help, help_word, pwd, ls, ls_list, ls_root, ls_rpc, ls_later};
}

inline std::vector<scenario> reading()
{
    scenario get = {"get", "get /m/c/l[name='a b']/v"};
    get.reply = entries_reply;
    get.texts = {"error command, please use:get path\r\n ", wrong_operand("/m/c/l[name='a b']/v")};
    scenario get_rpc = {"get in an rpc", "get /m/c"};
    get_rpc.prepare = in_rpc;
    scenario get_later = get;
    get_later.name = "get, one-shot";
    get_later.oneshot = true;
    scenario running = {"get-config -r", "get-config -r /m/c/o:box"};
    running.reply = entries_reply;
    running.texts = {"please input : get-config -r|-s path or get-config -l [path]\r\n",
                     wrong_operand("/m/c/o:box"), "fail !!\r\n", "send error!\r\n",
                     "recv error!\r\n"};
    scenario startup = running;
    startup.name = "get-config -s, one-shot";
    startup.line = "get-config -s /m/c/o:box";
    startup.oneshot = true;
    startup.profile = sweep_profile("set /m/c/x 1\ndelete /m/top");
    scenario local = {"get-config -l", "get-config -l"};
    local.prepare = stage_some;
    local.texts = {running.texts[0]};
    scenario local_path = local;
    local_path.name = "get-config -l with a path";
    local_path.line = "get-config -l /m/c/l[name='a/z']";
    local_path.texts.push_back("/m/c/l[name='a/z'] not exist in local configuration buffer \r\n");
    scenario local_rpc = local;
    local_rpc.name = "get-config -l in an rpc";
    local_rpc.prepare = in_rpc;
    return {get, get_rpc, get_later, running, startup, local, local_path, local_rpc};
}

inline std::vector<scenario> editing()
{
    scenario set = {"set", "set /m/c/l[name='a b']/v 'c d'"};
    set.prepare = stage_some;
    set.texts = {"error command, please use:set path [value]\r\n",
                 wrong_operand("/m/c/l[name='a b']/v"), "add cmd error!\r\n"};
    scenario value = {"set of a further value", "set /m/c/ll 3"};
    value.prepare = stage_some;
    value.texts = {set.texts[0], wrong_operand("/m/c/ll"), set.texts[2]};
    scenario set_rpc = {"set in an rpc", "set pc/q 3"};
    set_rpc.prepare = in_rpc;
    set_rpc.texts = {set.texts[0], wrong_operand("pc/q"), set.texts[2]};
    scenario set_later = set;
    set_later.name = "set, one-shot";
    set_later.oneshot = true;
    set_later.prepare = [] {};
    set_later.profile = sweep_profile("set /m/c/x 1");
    scenario set_first = set_later;
    set_first.name = "set, one-shot, without a profile";
    set_first.profile = "";
    set_first.others = {[] { profile_write_fresh(); }, [] { std::ofstream("/tmp/vandel.conf"); }};
    scenario set_rpc_later = set_rpc;
    set_rpc_later.name = "set in an rpc, one-shot";
    set_rpc_later.oneshot = true;
    set_rpc_later.prepare = [] {};
    set_rpc_later.profile = sweep_profile("", "/m/r", "set /m/r/p 1", "/m/r");
    scenario remove = {"delete", "delete /m/c/l[name=s]"};
    remove.prepare = stage_some;
    remove.reply = entries_reply;
    remove.texts = {"error command, please use:delete path\r\n", wrong_operand("/m/c/l[name=s]"),
                    "error: child node:/m/c/l[name=s]  is not existed.\r\n",
                    "delete cmd error!\r\n"};
    scenario remove_all = remove;
    remove_all.name = "delete of a container";
    remove_all.line = "delete /m/c";
    remove_all.texts = {remove.texts[0], wrong_operand("/m/c"),
                        "error: child node:/m/c  is not existed.\r\n", remove.texts[3]};
    scenario remove_later = remove;
    remove_later.name = "delete, one-shot";
    remove_later.oneshot = true;
    remove_later.prepare = [] {};
    remove_later.profile = sweep_profile("set /m/c/x 1");
    scenario discard = {"discard_changes", "discard_changes"};
    discard.prepare = stage_some;
    discard.texts = {"error command, please use:discard_changes (no param)\r\n"};
    scenario discard_rpc = discard;
    discard_rpc.name = "discard_changes in an rpc";
    discard_rpc.prepare = in_rpc;
    scenario discard_later = discard;
    discard_later.name = "discard_changes, one-shot";
    discard_later.oneshot = true;
    discard_later.prepare = [] {};
    discard_later.profile = sweep_profile("set /m/c/x 1\ndelete /m/top");
    // A profile that cannot be opened at the start is taken for none.
    discard_later.others = {lose_profile, [] { profile_write_fresh(); }};
    return {set,    value,      set_rpc,      set_later, set_first,   set_rpc_later,
            remove, remove_all, remove_later, discard,   discard_rpc, discard_later};
}

inline std::vector<scenario> adding()
{
    scenario add = {"add-listentry", "add-listentry k2 'x/y' k1 b"};
    add.prepare = [] {
        stand("/m/c/l2");
        stage_some();
    };
    add.reply = entries_reply;
    add.texts = {"wrong number of parameters\r\n",
                 wrong_operand("/m/c/l2"),
                 "error: the add_listentry cmd only works at list's workspace \r\n",
                 "failed to get list's keys \r\n",
                 "failed to get list's key:value \r\n",
                 "failed to add local list \r\n"};
    scenario add_rpc = {"add-listentry in an rpc", "add-listentry n 1"};
    add_rpc.prepare = [] {
        in_rpc();
        call_rpc("/pl", "\n[r]pl$ ");
    };
    add_rpc.texts = add.texts;
    add_rpc.texts[1] = wrong_operand("/m/r/pl");
    scenario add_later = add;
    add_later.name = "add-listentry, one-shot";
    add_later.oneshot = true;
    add_later.prepare = [] {};
    add_later.profile = sweep_profile("set /m/c/x 1", "", "", "/m/c/l2");
    add_later.others = {
        [] { profile_put_line("[config]", "set /m/c/l2[k1=b,k2='x/y']", profile_append); }};
    return {add, add_rpc, add_later};
}

inline std::vector<scenario> committing()
{
    const std::vector<std::string> texts = {"error command, please use:commit \r\n",
                                            "cmdtree to netconf error \r\n",
                                            "Send message error. \r\n", "Read message failed. \r\n",
                                            "There is no configuration data. \r\n"};
    scenario commit = {"commit", "commit"};
    commit.prepare = stage_some;
    commit.reply = ok_reply;
    commit.texts = texts;
    commit.texts.pop_back();
    commit.others = {drop_staged};
    scenario none = commit;
    none.name = "commit of nothing";
    none.prepare = [] {};
    none.others = {};
    scenario input = commit;
    input.name = "commit of an rpc";
    input.prepare = in_rpc;
    input.others = {[] { tree_free(&session.rpc_tree); },
                    [] {
                        tree_free(&session.rpc_tree);
                        local_entries_forget("/m/r", nullptr);
                    }};
    scenario bare = commit;
    bare.name = "commit of an rpc without input";
    bare.prepare = [] { call_rpc("", "\n[r]$ "); };
    bare.others = {[] { tree_add_structural(&session.rpc_tree, "/m/r"); }};
    bare.loses_tree = true;
    scenario later = commit;
    later.name = "commit, one-shot";
    later.oneshot = true;
    later.prepare = [] {};
    later.profile = sweep_profile("set /m/c/x 1\nset /m/c/l[name=a/b]\nadd /m/c/l l[name=a/b]\n"
                                  "delete /m/top\nset /m/c/ll 1\nset /m/c/ll 2");
    later.texts = texts;
    later.others = {lose_profile};
    scenario rpc_later = later;
    rpc_later.name = "commit of an rpc, one-shot";
    rpc_later.profile = sweep_profile("set /m/c/x 1", "/m/r", "set /m/r/p 1", "/m/r");
    rpc_later.others = some_of({profile_step("[pwd]", "/m"), profile_step("[rpc]", "")});
    rpc_later.others.push_back(lose_profile);
    rpc_later.others.push_back([] {
        profile_load();
        tree_free(&session.rpc_tree);
        profile_write_back();
    });
    return {commit, none, input, bare, later, rpc_later};
}

inline std::vector<scenario> entering()
{
    scenario rpc = {"the name of an rpc", "/m/r"};
    rpc.prepare = stage_some;
    rpc.texts = {wrong_operand("/m/r"), "invalid operation!!\r\n",
                 "/m/r: no such command, type 'help' for more information.\n"};
    scenario rpc_later = rpc;
    rpc_later.name = "the name of an rpc, one-shot";
    rpc_later.oneshot = true;
    rpc_later.prepare = [] {};
    rpc_later.profile = sweep_profile("set /m/c/x 1");
    rpc_later.others = some_of({profile_step("[pwd]", "/m/r"), profile_step("[rpc]", "/m/r")});
    scenario unknown = {"an unknown word", "/m/nix[k='a b'] x"};
    unknown.prepare = stage_some;
    unknown.texts = {wrong_operand("/m/nix[k='a b']"),
                     "/m/nix[k='a: no such command, type 'help' for more information.\n"};
    scenario blank = {"a blank line", "  "};
    scenario quit = {"quit", "quit"};
    quit.prepare = stage_some;
    scenario quit_rpc = {"quit in an rpc", "quit"};
    quit_rpc.prepare = in_rpc;
    quit_rpc.texts = {"error command, please use:discard_changes (no param)\r\n"};
    quit_rpc.others = {[] {
        tree_free(&session.rpc_tree);
        local_entries_forget("/m/r", nullptr);
    }};
    scenario quit_later = quit_rpc;
    quit_later.name = "quit in an rpc, one-shot";
    quit_later.oneshot = true;
    quit_later.prepare = [] {};
    quit_later.profile = sweep_profile("set /m/c/x 1", "/m/r", "set /m/r/p 1", "/m/r");
    quit_later.others = some_of({[] {
                                     profile_load_start();
                                     profile_write_fresh();
                                 },
                                 profile_step("[pwd]", "/m"), profile_step("[rpc]", "")});
    quit_later.others.push_back([] {
        lose_profile();
        stand("/m");
        profile_put_line("[pwd]", "/m", profile_replace);
        profile_put_line("[rpc]", "", profile_replace);
    });
    return {rpc, rpc_later, unknown, blank, quit, quit_rpc, quit_later};
}

inline std::vector<scenario> copying()
{
    scenario save = {"save", "save"};
    save.reply = ok_reply;
    save.texts = {"error command, please use:save (no param)\r\n",
                  "The save command send message fail! ",
                  "Get the reply message of save command is fail! "};
    scenario erase = {"delete-config", "delete-config"};
    erase.reply = ok_reply;
    erase.texts = {"error command, please use:delete-config\r\n ",
                   "delete config cmd buf malloc fail.\r\n"};
    scenario copy = {"copy-config", "copy-config running startup"};
    copy.reply = ok_reply;
    copy.texts = {"please input : copy-config source target\r\n", "reclloc memery fail.",
                  "send copy-config message fail.\r\n", "get reply message fail.\r\n"};
    scenario staged = copy;
    staged.name = "copy-config of what is staged";
    staged.line = "copy-config config running";
    staged.prepare = [] {
        stage_some();
        tree_stage_config("/m/c/x", std::string(3000, 'x').c_str(), operation_set);
    };
    std::vector<scenario> all = {save, erase, copy, staged};
    for (size_t i = 0; i < 3; i++) {
        all.push_back(all[i]);
        all.back().name += ", one-shot";
        all.back().oneshot = true;
        all.back().profile = sweep_profile("set /m/c/x 1");
    }
    return all;
}

inline std::vector<scenario> moving_files()
{
    scenario give = {"export-config", "export-config running /tmp/export"};
    give.reply = data_reply("<c xmlns=\"urn:m\"><x>1</x></c>");
    give.texts = {"please input : export-config source dir(file path)\r\n",
                  "Opening output file failed.",
                  "export get config buf malloc fail.\r\nexport config fail.\r\n",
                  "send get-config message fail.\r\nexport config fail.\r\n",
                  "export config fail.\r\n",
                  "write config file fail.\r\nexport config fail.\r\n",
                  "write_buf malloc error.\r\nwrite config file fail.\r\nexport config fail.\r\n"};
    scenario take = {"import-config", "import-config /tmp/import running"};
    take.prepare = [] {
        std::ofstream("/tmp/import") << "<data>" + std::string(9000, 'd') + "</data>";
    };
    take.reply = ok_reply;
    take.texts = {"please input : import-config file target\r\n",
                  "can't get file infomation.\r\n",
                  "reclloc memery fail.",
                  "send copy-config message fail.\r\n",
                  "get reply message fail.\r\n",
                  "the file have no <data>.\r\n",
                  "the file have no </data>.\r\n"};
    std::vector<scenario> all = {give, take};
    for (size_t i = 0; i < 2; i++) {
        all.push_back(all[i]);
        all.back().name += ", one-shot";
        all.back().oneshot = true;
        all.back().profile = sweep_profile("set /m/c/x 1");
    }
    return all;
}

} // namespace scenarios
