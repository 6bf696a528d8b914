// One hash for each schema node with children, under the path that names every
// level, choices and cases included; its fields are the children. A list has
// two: its path holds the keys, its path and "[]" all that an entry contains.
// What belongs to another module than its parent is named "module:name", here
// and in every path through it. Data paths leave choices and cases out, so for
// a data node the parent is the data node around them: a leaf that another
// module adds in a case of its own carries the prefix too, and the data path
// that an operator types shows whose it is. Left out is what the shell has no
// use for: anydata, notifications, actions, and what an rpc returns.
#include "device/schemac/schema_writer.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "device/schemac/help_text.h"
#include "device/schemac/record.h"

namespace
{

struct schema_writer {
    help_maker help;
    content_depth depth;
    const hash_sink &sink;
    write_watch watch;
    write_progress progress;
    schema_counts counts;
};

// The node whose children are written, and how they are reached.
struct parent_place {
    std::string path;
    const lys_module *module;      // of the schema node
    const lys_module *data_module; // of the nearest data node, rpc or module
};

struct stored_kind {
    uint16_t type;
    node_kind kind;
};

constexpr stored_kind stored_kinds[] = {
    {LYS_CONTAINER, node_kind_container},
    {LYS_LEAF, node_kind_leaf},
    {LYS_LEAFLIST, node_kind_leaf_list},
    {LYS_LIST, node_kind_list},
    {LYS_CHOICE, node_kind_choice},
    {LYS_CASE, node_kind_case},
    {LYS_RPC, node_kind_rpc},
    {LYS_INPUT, node_kind_input},
};

// Null for what the shell has no use for.
const stored_kind *kind_of_node(const lysc_node *node)
{
    for (const stored_kind &one : stored_kinds) {
        if (one.type == node->nodetype)
            return &one;
    }
    return nullptr;
}

bool is_data_node(const lysc_node *node)
{
    return (node->nodetype & (LYS_CHOICE | LYS_CASE)) == 0;
}

std::string field_name(const parent_place *parent, const lysc_node *node)
{
    const lys_module *around = is_data_node(node) ? parent->data_module : parent->module;
    if (node->module == around)
        return node->name;
    return std::string(node->module->name) + ":" + node->name;
}

// What an rpc takes is typed in and sent like configuration.
bool is_config(const lysc_node *node)
{
    return (node->flags & (LYS_CONFIG_W | LYS_IS_INPUT)) != 0 || node->nodetype == LYS_INPUT;
}

std::string node_record(schema_writer *writer, const lysc_node *node, node_kind kind)
{
    if (writer->depth == content_keys)
        return "";
    return make_node_record(kind, is_config(node), built_in_type_name(node),
                            make_help_text(&writer->help, node));
}

std::vector<hash_field> make_fields(schema_writer *writer, const parent_place *parent,
                                    const lysc_node *first, bool only_keys)
{
    std::vector<hash_field> fields;
    for (const lysc_node *node = first; node != nullptr; node = node->next) {
        const stored_kind *stored = kind_of_node(node);
        if (stored != nullptr && (!only_keys || lysc_is_key(node)))
            fields.push_back({field_name(parent, node), node_record(writer, node, stored->kind)});
    }
    return fields;
}

void write_hash(schema_writer *writer, const std::string &path, std::vector<hash_field> fields)
{
    if (fields.empty())
        return;
    writer->counts.bytes += path.size();
    for (const hash_field &field : fields)
        writer->counts.bytes += field.name.size() + field.value.size();
    writer->sink(path, std::move(fields));
}

// The shell prepends each node that it reads, so nodes are stored in reverse.
void write_nodes(schema_writer *writer, const std::string &path, std::vector<hash_field> fields)
{
    std::reverse(fields.begin(), fields.end());
    write_hash(writer, path, std::move(fields));
}

void write_below(schema_writer *writer, const parent_place *parent, const lysc_node *first);

void write_children_of(schema_writer *writer, const parent_place *parent, const lysc_node *node)
{
    writer->progress.nodes = ++writer->counts.nodes;
    writer->progress.bytes = writer->counts.bytes;
    if (writer->depth == content_values)
        writer->watch(writer->progress);
    const lysc_node *first = lysc_node_child(node);
    if (first == nullptr)
        return;
    parent_place place = {parent->path + "/" + field_name(parent, node), node->module,
                          is_data_node(node) ? node->module : parent->data_module};
    if (node->nodetype == LYS_LIST) {
        write_hash(writer, place.path, make_fields(writer, &place, first, true));
        place.path.append("[]");
    }
    write_below(writer, &place, first);
    std::vector<hash_field> fields = make_fields(writer, &place, first, false);
    if (node->nodetype == LYS_CHOICE)
        write_hash(writer, place.path, std::move(fields)); // cases are kept as they come
    else
        write_nodes(writer, place.path, std::move(fields));
}

void write_below(schema_writer *writer, const parent_place *parent, const lysc_node *first)
{
    for (const lysc_node *node = first; node != nullptr; node = node->next) {
        if (kind_of_node(node) != nullptr)
            write_children_of(writer, parent, node);
    }
}

// The top of a module: its data nodes and its rpcs share one hash.
void write_module(schema_writer *writer, const lys_module *module)
{
    const parent_place place = {std::string("/") + module->name, module, module};
    const lysc_node *data = module->compiled->data;
    const auto *rpcs = reinterpret_cast<const lysc_node *>(module->compiled->rpcs);
    write_below(writer, &place, data);
    write_below(writer, &place, rpcs);
    std::vector<hash_field> fields = make_fields(writer, &place, data, false);
    const std::vector<hash_field> more = make_fields(writer, &place, rpcs, false);
    fields.insert(fields.end(), more.begin(), more.end());
    write_nodes(writer, place.path, std::move(fields));
}

// A module stands in the root when its nodes are stored or when its name may be
// the prefix of a value; libyang's own modules do only when they are asked for.
bool is_listed(const lys_module *module, bool is_built_in,
               const std::vector<module_request> &requests)
{
    if (is_built_in)
        return module->implemented && is_requested(requests, module->name);
    return module->implemented || LY_ARRAY_COUNT(module->identities) > 0;
}

// Whether a path, the name of a node or a value may name the module. The shell
// looks up the namespaces of no others: types, groupings and deviations are
// nothing that an operator meets.
bool can_be_met(const lys_module *module)
{
    if (LY_ARRAY_COUNT(module->identities) > 0 || has_augments(module))
        return true;
    const lysc_module *compiled = module->compiled;
    return compiled != nullptr &&
           (compiled->data != nullptr || compiled->rpcs != nullptr || compiled->notifs != nullptr);
}

} // namespace

schema_counts write_schema(const ly_ctx *context, const std::vector<module_request> &requests,
                           content_depth depth, const hash_sink &sink, write_watch watch)
{
    schema_writer writer = {{type_names_collect(context), {}}, depth, sink, watch, {}, {}};
    std::vector<hash_field> root;
    std::unordered_set<std::string_view> names;
    const uint32_t built_in = ly_ctx_internal_modules_count(context);
    uint32_t position = 0;
    while (ly_ctx_get_module_iter(context, &position) != nullptr)
        writer.progress.count = position;
    position = 0;
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position)) {
        if (!is_listed(module, position <= built_in, requests))
            continue;
        if (!can_be_met(module)) {
            writer.counts.empty_modules++;
            continue;
        }
        if (names.insert(module->name).second) // another revision only serves types
            root.push_back({module->name, make_module_record(module->ns)});
        writer.progress.module = module->name;
        writer.progress.number = position;
        if (module->implemented)
            write_module(&writer, module);
    }
    writer.counts.modules = root.size();
    write_nodes(&writer, "/", std::move(root));
    return writer.counts;
}
