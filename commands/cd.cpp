#include "commands/commands.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/session.h"
#include "base/text.h"
#include "browse/descendants.h"
#include "commands/operand.h"
#include "commands/staging.h"
#include "commands/workspace.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

constexpr unsigned max_levels = 1;

// cd takes one level at a time: a component after a "/", or a name, may occur
// once.
bool has_one_level(const char *argument)
{
    const heap_text masked = masked_copy(argument);
    if (!masked)
        return false;
    unsigned levels = 0;
    unsigned names = 0;
    std::string_view rest = masked.get();
    for (bool after_slash = false; !rest.empty(); after_slash = true) {
        const std::string_view component = text_take(&rest, '/');
        if (!component.empty() && component != ".") {
            levels += after_slash;
            names += component != "..";
        }
    }
    return levels <= max_levels && names <= max_levels;
}

// Checks that the path, which lies below its listing parent, can be entered.
bool can_enter(const place &at, char *argument)
{
    const place parent = place_listing_parent(at);
    descendant_set children;
    if (!parent.path || descendants_of(parent, &children) != 0) {
        puts("failed to get descendant\r");
        return false;
    }
    if (!place_is_known(at)) {
        print_error_parameter(argument);
        return false;
    }
    if (!descendants_reach(&children, path_last_component(at.path.get()))) {
        puts("error: child node is not existed or another choice case is set.\r");
        return false;
    }
    const unsigned kind = place_kind(at);
    if (kind == node_kind_leaf || kind == node_kind_rpc) {
        printf("This is a leaf or rpc node,that can't cd.");
        return false;
    }
    return true;
}

// The masked workspace; one that comes from a profile may end in a "/".
heap_text current_workspace()
{
    heap_text workspace = masked_copy(session.pwd);
    const size_t length = workspace ? strlen(workspace.get()) : 0;
    if (length > 1 && workspace.get()[length - 1] == '/')
        workspace.get()[length - 1] = '\0';
    return workspace;
}

void change_workspace(const place &at, char *argument)
{
    const char *path = at.path.get();
    const heap_text workspace = current_workspace();
    if (!workspace || strcmp(path, workspace.get()) == 0)
        return;
    const size_t length = strlen(path);
    const size_t workspace_length = strlen(workspace.get());
    bool enters = false;
    if (length > workspace_length) {
        enters = can_enter(at, argument);
    } else {
        enters = path_is_within(workspace.get(), path);
        if (!enters) {
            unmask_all(argument);
            printf("error: node:%s  is not existed.\r\n", argument);
        }
    }
    if (enters)
        workspace_set(path);
}

} // namespace

int cmd_pwd(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1)
        puts("error command, please use:pwd (no param)\r");
    else
        printf("%s\r\n", session.pwd);
    return 0;
}

int cmd_cd(const char *line)
{
    staged_restore();
    const arg_words words(line);
    if (words.argc != 2) {
        puts("error command, please use:cd path\r");
        return 0;
    }
    char *argument = words.argv[1];
    if (!has_one_level(argument)) {
        puts("cd cmd only takes one layer relative path as parameters!\r");
        return 0;
    }
    if (strcmp(argument, "/") == 0 || strcmp(argument, "/.") == 0) {
        workspace_reset();
        return 0;
    }
    const place at = resolve_operand(argument);
    if (at.schema_path)
        change_workspace(at, argument);
    return 0;
}
