// Draws what stands below a node, in the way in which YANG trees are drawn.
#include "device/schemac/tree_print.h"

#include <stdio.h>

#include "device/schemac/text_tools.h"

namespace
{

std::string label_of(stored_schema *schema, const stored_place *place)
{
    const std::string name = stored_name(place);
    switch (place->record.kind) {
    case node_kind_choice:
        return "--(" + name + ")";
    case node_kind_case:
        return "--:(" + name + ")";
    case node_kind_list:
        return "--" + access_name(&place->record) + " " + name + "* [" +
               joined_text(stored_keys(schema, place)) + "]";
    case node_kind_leaf_list:
        return "--" + access_name(&place->record) + " " + name + "*  " + place->record.type;
    case node_kind_leaf:
        return "--" + access_name(&place->record) + " " + name + "  " + place->record.type;
    default:
        return "--" + access_name(&place->record) + " " + name;
    }
}

void print_below(stored_schema *schema, const stored_place *parent, const std::string &indent)
{
    const std::vector<stored_place> children = stored_children(schema, parent);
    for (size_t i = 0; i < children.size(); i++) {
        std::string line = indent;
        line.append("+").append(label_of(schema, &children[i]));
        if (!schema->failure.empty())
            return;
        printf("%s\n", printable_text(line).c_str());
        if (may_have_children(children[i].record.kind))
            print_below(schema, &children[i], indent + (i + 1 < children.size() ? "|  " : "   "));
    }
}

} // namespace

std::string access_name(const node_record *record)
{
    if (record->kind == node_kind_choice || record->kind == node_kind_case)
        return "";
    if (record->kind == node_kind_rpc)
        return "x";
    return record->is_config ? "rw" : "ro";
}

bool may_have_children(node_kind kind)
{
    return kind != node_kind_leaf && kind != node_kind_leaf_list;
}

void tree_print(stored_schema *schema, const stored_place *place)
{
    printf("%s\n", printable_text(place->path).c_str());
    print_below(schema, place, "  ");
}
