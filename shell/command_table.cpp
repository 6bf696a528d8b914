#include "shell/command_table.h"

#include <string_view>

#include "commands/commands.h"

namespace
{

constexpr char path_help[] = "yang module schema tree path";
constexpr char copy_source_help[] = "Particular configuration to copy from.";

constexpr range_item running = {"running", "The running configuration."};
constexpr range_item startup = {"startup", "The startup configuration."};
constexpr range_item candidate = {"candidate", "The candidate configuration."};
constexpr range_item config = {"config", "The current command configuration."};
constexpr range_item range_end = {nullptr, nullptr};

constexpr range_item copy_sources[] = {running, startup, candidate, config, range_end};
constexpr range_item copy_targets[] = {running, startup, candidate, range_end};
constexpr range_item file_datastores[] = {running, startup, range_end};

constexpr arg_desc args_end = {nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};

constexpr arg_desc no_args[] = {args_end};

constexpr arg_desc path_args[] = {
    {"path", path_help, "schema", nullptr, nullptr, nullptr},
    args_end,
};

constexpr arg_desc get_config_args[] = {
    {"-l", "vandel local path", "location", nullptr, nullptr, nullptr},
    {"-r", "running path", "location", nullptr, nullptr, nullptr},
    {"-s", "startup path", "location", nullptr, nullptr, nullptr},
    {"path", path_help, "schema", "-l", nullptr, nullptr},
    {"path", path_help, "schema", "-r", nullptr, nullptr},
    {"path", path_help, "schema", "-s", nullptr, nullptr},
    args_end,
};

constexpr arg_desc copy_config_args[] = {
    {"source", copy_source_help, "datastore", nullptr,
     "running |startup | candidate |config | <url address>", copy_sources},
    {"target", "The configuration target of the copy operation.", "datastore", "source",
     "running |startup | candidate | <url address>", copy_targets},
    args_end,
};

constexpr arg_desc add_listentry_args[] = {
    {"list-key", "A leaf is a key in the list.", "list_key", nullptr, nullptr, nullptr},
    {"key-value", "the value of a leaf which is a key in the list.", "string", "list-key", nullptr,
     nullptr},
    args_end,
};

constexpr arg_desc export_config_args[] = {
    {"source", copy_source_help, "datastore", nullptr, "running |startup", file_datastores},
    {"file", "export config target file.", "string", "source", nullptr, nullptr},
    args_end,
};

constexpr arg_desc import_config_args[] = {
    {"file", "export config target file.", "string", nullptr, nullptr, nullptr},
    {"target", copy_source_help, "datastore", "file", "running |startup", file_datastores},
    args_end,
};

} // namespace

constexpr cmd_entry command_table[command_count + 1] = {
    {0, "help", cmd_help, "Display the help information. (help [cmd])", no_args},
    {1, "cd", cmd_cd, "Change the current workspace. (cd path)", path_args},
    {2, "ls", cmd_ls, "List subordinate configurable nodes. ", no_args},
    {3, "pwd", cmd_pwd, "Print the current workspace. ", no_args},
    {4, "set", cmd_set, "Set value of the configurable node. (set key value|\"v1 v2\")", path_args},
    {5, "delete", cmd_delete, "Delete value of the configurable node. ", path_args},
    {6, "discard_changes", cmd_discard_changes, "Delete local data. ", no_args},
    {7, "get", cmd_get, "Get value of the configurable node. ", path_args},
    {8, "get-config", cmd_get_config,
     "Get value from local, running or startup database. "
     "(get-config -r|-s path or get-config -l [path])",
     get_config_args},
    {9, "copy-config", cmd_copy_config, "Copy source database to target database.",
     copy_config_args},
    {10, "commit", cmd_commit, "Record changes to the server. ", no_args},
    {11, "save", cmd_save, "Save running database to startup database. ", no_args},
    {12, "add-listentry", cmd_add_listentry,
     "Create a new listentry. (add-listentry k1 v1 [k2 v2] ...)", add_listentry_args},
    {13, "export-config", cmd_export_config,
     "Export running or startup database to file. (export-config running|startup path)",
     export_config_args},
    {14, "import-config", cmd_import_config,
     "Import data to running or startup database from file. "
     "(import-config file running|startup)",
     import_config_args},
    {15, "quit", nullptr, "Quit vandel or quit rpc mode.", no_args},
    {16, "delete-config", cmd_delete_config, "Delete startup database.", no_args},
    {0, nullptr, nullptr, nullptr, nullptr},
};

namespace
{

constexpr bool table_is_consistent()
{
    for (int i = 0; i < command_count; i++) {
        if (command_table[i].id != i || command_table[i].name == nullptr ||
            command_table[i].args == nullptr)
            return false;
        for (int j = 0; j < i; j++) {
            if (std::string_view(command_table[i].name) == command_table[j].name)
                return false;
        }
    }
    return command_table[command_count].name == nullptr;
}

static_assert(table_is_consistent(), "rows stand at their numbers, each name once");

} // namespace
