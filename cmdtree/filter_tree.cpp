#include "cmdtree/filter_tree.h"

#include <stdio.h>

#include "cmdtree/tree.h"
#include "schema/path.h"

filter_tree::filter_tree() : command_tree{} {}

filter_tree::~filter_tree()
{
    tree_free(this);
}

int filter_tree_for_path(filter_tree *tree, const char *path)
{
    if (path_levels(path) < 2) {
        puts("please give a node in the module!\r");
        return -1;
    }
    return tree_add_structural(tree, path);
}

int filter_tree_for_keys(filter_tree *tree, const char *list_path, const key_names *keys)
{
    if (filter_tree_for_path(tree, list_path) != 0)
        return -1;
    for (size_t i = 0; i < keys->count; i++) {
        const heap_text path = text_concat({list_path, "/", keys->name[i]});
        if (!path || tree_add_structural(tree, path.get()) != 0)
            return -1;
    }
    return 0;
}
