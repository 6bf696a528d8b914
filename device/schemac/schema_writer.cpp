// Writes a compiled schema as the hashes of the schema database.
//
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

#include "device/schemac/help_text.h"
#include "device/schemac/record.h"
#include "device/schemac/type_names.h"

namespace
{

struct schema_writer {
    spool *output;
    type_names names;
    schema_counts counts;
    write_watch watch;
};

// The node whose children are written, and how they are reached.
struct parent_place {
    std::string path;
    const lys_module *module;      // of the schema node
    const lys_module *data_module; // of the nearest data node, rpc or module
};

// False for what the shell has no use for.
bool kind_of_node(const lysc_node *node, node_kind *kind)
{
    switch (node->nodetype) {
    case LYS_CONTAINER:
        *kind = node_kind::container;
        return true;
    case LYS_LEAF:
        *kind = node_kind::leaf;
        return true;
    case LYS_LEAFLIST:
        *kind = node_kind::leaf_list;
        return true;
    case LYS_LIST:
        *kind = node_kind::list;
        return true;
    case LYS_CHOICE:
        *kind = node_kind::choice;
        return true;
    case LYS_CASE:
        *kind = node_kind::choice_case;
        return true;
    case LYS_RPC:
        *kind = node_kind::rpc;
        return true;
    case LYS_INPUT:
        *kind = node_kind::input;
        return true;
    default:
        return false;
    }
}

bool is_data_node(const lysc_node *node)
{
    return (node->nodetype & (LYS_CHOICE | LYS_CASE)) == 0;
}

std::string field_name(const parent_place *parent, const lysc_node *node)
{
    const lys_module *around = is_data_node(node) ? parent->data_module : parent->module;
    std::string name = node->name;
    return node->module == around ? name : std::string(node->module->name) + ":" + name;
}

// What an rpc takes is typed in and sent like configuration.
bool is_config(const lysc_node *node)
{
    return (node->flags & (LYS_CONFIG_W | LYS_IS_INPUT)) != 0 || node->nodetype == LYS_INPUT;
}

std::string node_record(const schema_writer *writer, const lysc_node *node, node_kind kind)
{
    return make_node_record(kind, is_config(node), built_in_type_name(node),
                            make_help_text(&writer->names, node));
}

bool is_key(const lysc_node *node)
{
    return lysc_is_key(node);
}

bool is_any(const lysc_node *node)
{
    (void)node;
    return true;
}

void add_fields(const schema_writer *writer, const parent_place *parent, const lysc_node *first,
                bool (*is_wanted)(const lysc_node *), std::vector<hash_field> *fields)
{
    for (const lysc_node *node = first; node != nullptr; node = node->next) {
        node_kind kind;
        if (kind_of_node(node, &kind) && is_wanted(node))
            fields->push_back({field_name(parent, node), node_record(writer, node, kind)});
    }
}

void write_hash(const schema_writer *writer, const std::string &path,
                const std::vector<hash_field> &fields)
{
    if (!fields.empty())
        spool_add_hash(writer->output, path, fields);
}

// The shell prepends each node that it reads, so nodes are stored in reverse.
void write_nodes(const schema_writer *writer, const std::string &path,
                 std::vector<hash_field> *fields)
{
    std::reverse(fields->begin(), fields->end());
    write_hash(writer, path, *fields);
}

void write_keys(const schema_writer *writer, const parent_place *list, const lysc_node *first)
{
    std::vector<hash_field> keys;
    add_fields(writer, list, first, is_key, &keys);
    write_hash(writer, list->path, keys);
}

void write_below(schema_writer *writer, const parent_place *parent, const lysc_node *first);

void write_children_of(schema_writer *writer, const parent_place *parent, const lysc_node *node)
{
    writer->watch(++writer->counts.nodes);
    const lysc_node *first = lysc_node_child(node);
    if (first == nullptr)
        return;
    parent_place place = {parent->path + "/" + field_name(parent, node), node->module,
                          is_data_node(node) ? node->module : parent->data_module};
    if (node->nodetype == LYS_LIST) {
        write_keys(writer, &place, first);
        place.path.append("[]");
    }
    std::vector<hash_field> fields;
    add_fields(writer, &place, first, is_any, &fields);
    if (node->nodetype == LYS_CHOICE) {
        write_hash(writer, place.path, fields); // cases are kept as they come
    } else {
        write_nodes(writer, place.path, &fields);
    }
    write_below(writer, &place, first);
}

void write_below(schema_writer *writer, const parent_place *parent, const lysc_node *first)
{
    for (const lysc_node *node = first; node != nullptr; node = node->next) {
        node_kind kind;
        if (kind_of_node(node, &kind))
            write_children_of(writer, parent, node);
    }
}

// The top of a module: its data nodes and its rpcs share one hash.
void write_module(schema_writer *writer, const lys_module *module)
{
    parent_place place = {std::string("/") + module->name, module, module};
    const lysc_node *tops[] = {module->compiled->data,
                               reinterpret_cast<const lysc_node *>(module->compiled->rpcs)};
    std::vector<hash_field> fields;
    for (const lysc_node *top : tops)
        add_fields(writer, &place, top, is_any, &fields);
    write_nodes(writer, place.path, &fields);
    for (const lysc_node *top : tops)
        write_below(writer, &place, top);
}

bool is_requested(const lys_module *module, const std::vector<module_request> &requests)
{
    for (const module_request &request : requests) {
        if (request.name == module->name)
            return true;
    }
    return false;
}

// A module stands in the root when its nodes are stored or when its name may be
// the prefix of a value; libyang's own modules do only when they are asked for.
bool is_listed(const lys_module *module, bool is_built_in,
               const std::vector<module_request> &requests)
{
    if (module->implemented && is_requested(module, requests))
        return true;
    return !is_built_in && (module->implemented || LY_ARRAY_COUNT(module->identities) > 0);
}

void add_root_field(std::vector<hash_field> *root, const lys_module *module)
{
    for (const hash_field &field : *root) {
        if (field.name == module->name) {
            return; // another revision, which only serves types
        }
    }
    root->push_back({module->name, make_module_record(module->ns)});
}

} // namespace

schema_counts write_schema(const ly_ctx *context, const std::vector<module_request> &requests,
                           spool *output, write_watch watch)
{
    schema_writer writer = {output, type_names_collect(context), {}, watch};
    std::vector<hash_field> root;
    uint32_t position = 0;
    uint32_t built_in = ly_ctx_internal_modules_count(context);
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position)) {
        if (!is_listed(module, position <= built_in, requests))
            continue;
        add_root_field(&root, module);
        if (module->implemented)
            write_module(&writer, module);
    }
    write_nodes(&writer, "/", &root);
    writer.counts.modules = root.size();
    writer.counts.bytes = output->stored_bytes;
    return writer.counts;
}
