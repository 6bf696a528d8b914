// Every row of the command table, spelled out.
#include "shell/command_table.h"

#include <gtest/gtest.h>
#include <string>

#include "commands/commands.h"

namespace
{

std::string shown(const char *text)
{
    return text != nullptr ? text : "(none)";
}

// One line per argument: name; type; prerequisite; help; range; values.
std::string arguments_of(const char *command)
{
    const cmd_entry *row = command_find(command_table, command);
    if (row == nullptr)
        return "no such row";
    std::string text;
    for (const arg_desc *arg = row->args; arg->name != nullptr; arg++) {
        text += shown(arg->name) + ";" + shown(arg->type) + ";" + shown(arg->prereq) + ";" +
                shown(arg->help) + ";" + shown(arg->range_text);
        for (const range_item *item = arg->range; item != nullptr && item->value != nullptr; item++)
            text += ";" + shown(item->value) + "=" + shown(item->help);
        text += "\n";
    }
    return text;
}

TEST(command_table, rows_stand_at_their_ids)
{
    const char *names[] = {"help",
                           "cd",
                           "ls",
                           "pwd",
                           "set",
                           "delete",
                           "discard_changes",
                           "get",
                           "get-config",
                           "copy-config",
                           "commit",
                           "save",
                           "add-listentry",
                           "export-config",
                           "import-config",
                           "quit",
                           "delete-config"};
    for (int i = 0; i < 17; i++) {
        EXPECT_EQ(command_table[i].id, i);
        EXPECT_STREQ(command_table[i].name, names[i]);
        EXPECT_NE(command_table[i].args, nullptr);
    }
    EXPECT_EQ(command_table[17].name, nullptr);
}

TEST(command_table, rows_call_their_handlers)
{
    cmd_handler *handlers[] = {cmd_help,
                               cmd_cd,
                               cmd_ls,
                               cmd_pwd,
                               cmd_set,
                               cmd_delete,
                               cmd_discard_changes,
                               cmd_get,
                               cmd_get_config,
                               cmd_copy_config,
                               cmd_commit,
                               cmd_save,
                               cmd_add_listentry,
                               cmd_export_config,
                               cmd_import_config,
                               nullptr,
                               cmd_delete_config};
    for (int i = 0; i < 17; i++)
        EXPECT_EQ(command_table[i].handler, handlers[i]) << i;
}

TEST(command_find, takes_whole_words_in_their_case)
{
    EXPECT_EQ(command_find(command_table, "cd"), &command_table[1]);
    EXPECT_EQ(command_find(command_table, "delete"), &command_table[5]);
    EXPECT_EQ(command_find(command_table, "delete-config"), &command_table[16]);
    EXPECT_EQ(command_find(command_table, "quitx"), nullptr);
    EXPECT_EQ(command_find(command_table, "qui"), nullptr);
    EXPECT_EQ(command_find(command_table, "CD"), nullptr);
    EXPECT_EQ(command_find(command_table, ""), nullptr);
}

TEST(command_table, commands_without_arguments)
{
    for (const char *name :
         {"help", "ls", "pwd", "discard_changes", "commit", "save", "quit", "delete-config"})
        EXPECT_EQ(arguments_of(name), "") << name;
}

TEST(command_table, commands_with_a_path)
{
    for (const char *name : {"cd", "set", "delete", "get"}) {
        EXPECT_EQ(arguments_of(name), "path;schema;(none);yang module schema tree path;(none)\n")
            << name;
    }
}

TEST(command_table, get_config_arguments)
{
    EXPECT_EQ(arguments_of("get-config"), "-l;location;(none);vandel local path;(none)\n"
                                          "-r;location;(none);running path;(none)\n"
                                          "-s;location;(none);startup path;(none)\n"
                                          "path;schema;-l;yang module schema tree path;(none)\n"
                                          "path;schema;-r;yang module schema tree path;(none)\n"
                                          "path;schema;-s;yang module schema tree path;(none)\n");
}

TEST(command_table, datastore_arguments)
{
    EXPECT_EQ(arguments_of("copy-config"),
              "source;datastore;(none);Particular configuration to copy from.;"
              "running |startup | candidate |config | <url address>;"
              "running=The running configuration.;startup=The startup configuration.;"
              "candidate=The candidate configuration.;config=The current command configuration.\n"
              "target;datastore;source;The configuration target of the copy operation.;"
              "running |startup | candidate | <url address>;"
              "running=The running configuration.;startup=The startup configuration.;"
              "candidate=The candidate configuration.\n");
    EXPECT_EQ(arguments_of("export-config"),
              "source;datastore;(none);Particular configuration to copy from.;running |startup;"
              "running=The running configuration.;startup=The startup configuration.\n"
              "file;string;source;export config target file.;(none)\n");
    EXPECT_EQ(arguments_of("import-config"),
              "file;string;(none);export config target file.;(none)\n"
              "target;datastore;file;Particular configuration to copy from.;running |startup;"
              "running=The running configuration.;startup=The startup configuration.\n");
}

TEST(command_table, add_listentry_arguments)
{
    EXPECT_EQ(arguments_of("add-listentry"),
              "list-key;list_key;(none);A leaf is a key in the list.;(none)\n"
              "key-value;string;list-key;the value of a leaf which is a key in the list.;(none)\n");
}

} // namespace
