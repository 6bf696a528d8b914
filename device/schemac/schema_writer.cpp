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

#include <string.h>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "device/schemac/help_text.h"
#include "device/schemac/record.h"

namespace
{

// A field, and a node that has it.
struct known_field {
    const lysc_node *node;
    std::string words; // its name without a module, and its record
    size_t name_end;   // in the words
    size_t bytes;      // of both, without what redis's protocol adds
};

struct schema_writer {
    type_names names;
    content_depth depth;
    const hash_sink &sink;
    write_watch watch;
    write_progress progress;
    schema_counts counts;
    content_hash hash;     // that is written next
    std::string long_name; // with a module
    // Those of late, each where name, description and whether it is configuration lead: what
    // stands in a grouping comes again wherever that is used.
    std::vector<known_field> known;
};

constexpr size_t most_known = 4093; // a prime, because addresses have much in common

// The node whose children are written; the path to it is the key of the hash.
struct parent_place {
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

bool is_named_shortly(const parent_place *parent, const lysc_node *node)
{
    return node->module == (is_data_node(node) ? parent->data_module : parent->module);
}

// It holds until the next is asked for.
std::string_view name_of(schema_writer *writer, const parent_place *parent, const lysc_node *node)
{
    if (is_named_shortly(parent, node))
        return node->name;
    writer->long_name.assign(node->module->name).append(":").append(node->name);
    return writer->long_name;
}

// What an rpc takes is typed in and sent like configuration.
bool is_config(const lysc_node *node)
{
    return (node->flags & (LYS_CONFIG_W | LYS_IS_INPUT)) != 0 || node->nodetype == LYS_INPUT;
}

const known_field *field_of(schema_writer *writer, const lysc_node *node, node_kind kind)
{
    const auto name = reinterpret_cast<uintptr_t>(node->name); // libyang keeps each text once
    const auto description = reinterpret_cast<uintptr_t>(node->dsc);
    known_field *known = &writer->known[(name + description + is_config(node)) % most_known];
    if (known->node != nullptr && known->node->name == node->name &&
        has_same_help(&writer->names, known->node, node))
        return known;
    const std::string record = make_node_record(kind, is_config(node), built_in_type_name(node),
                                                make_help_text(&writer->names, node));
    known->node = node;
    known->words.clear();
    content_append_word(&known->words, node->name);
    known->name_end = known->words.size();
    content_append_word(&known->words, record);
    known->bytes = strlen(node->name) + record.size();
    return known;
}

void add_node(schema_writer *writer, const parent_place *parent, const lysc_node *node)
{
    const stored_kind *stored = kind_of_node(node);
    if (stored == nullptr)
        return;
    content_hash *hash = &writer->hash;
    hash->count++;
    if (writer->depth == content_keys)
        return;
    const known_field *field = field_of(writer, node, stored->kind);
    writer->counts.bytes += field->bytes;
    if (is_named_shortly(parent, node)) {
        hash->words.append(field->words);
    } else {
        writer->counts.bytes += strlen(node->module->name) + 1;
        content_append_word(&hash->words, name_of(writer, parent, node));
        hash->words.append(field->words, field->name_end);
    }
}

// The shell prepends each node that it reads, so most nodes are stored in reverse.
void add_reversed(schema_writer *writer, const parent_place *parent, const lysc_node *first)
{
    for (const lysc_node *node = first != nullptr ? first->prev : nullptr; node != nullptr;
         node = node != first ? node->prev : nullptr)
        add_node(writer, parent, node);
}

void write_hash(schema_writer *writer)
{
    if (writer->hash.count > 0) {
        writer->counts.bytes += writer->hash.key.size();
        writer->sink(writer->hash);
    }
    writer->hash.count = 0;
    writer->hash.words.clear();
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
    std::string *path = &writer->hash.key;
    const size_t above = path->size();
    path->append("/").append(name_of(writer, parent, node));
    const parent_place place = {node->module,
                                is_data_node(node) ? node->module : parent->data_module};
    if (node->nodetype == LYS_LIST) {
        for (const lysc_node *key = first; lysc_is_key(key); key = key->next)
            add_node(writer, &place, key);
        write_hash(writer);
        path->append("[]");
    }
    write_below(writer, &place, first);
    if (node->nodetype == LYS_CHOICE)
        for (const lysc_node *one = first; one != nullptr; one = one->next)
            add_node(writer, &place, one); // cases are kept as they come
    else
        add_reversed(writer, &place, first);
    write_hash(writer);
    path->resize(above);
}

// libyang makes the nodes in this order, so that what comes soon mostly lies a little further on.
void fetch_ahead(const lysc_node *node)
{
    constexpr int nodes_ahead = 32;
    __builtin_prefetch(node + nodes_ahead);
    __builtin_prefetch(node + nodes_ahead + 1);
}

void write_below(schema_writer *writer, const parent_place *parent, const lysc_node *first)
{
    for (const lysc_node *node = first; node != nullptr; node = node->next) {
        fetch_ahead(node);
        if (kind_of_node(node) != nullptr)
            write_children_of(writer, parent, node);
    }
}

// The top of a module: its data nodes and its rpcs share one hash.
void write_module(schema_writer *writer, const lys_module *module)
{
    const parent_place place = {module, module};
    const lysc_node *data = module->compiled->data;
    const auto *rpcs = reinterpret_cast<const lysc_node *>(module->compiled->rpcs);
    std::string *path = &writer->hash.key; // of the root
    path->append(module->name);
    write_below(writer, &place, data);
    write_below(writer, &place, rpcs);
    add_reversed(writer, &place, rpcs);
    add_reversed(writer, &place, data);
    write_hash(writer);
    path->resize(1);
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
    schema_writer writer = {
        type_names_collect(context), depth, sink, watch, {}, {}, {"/", 0, ""}, "", {}};
    writer.known.resize(most_known);
    std::vector<std::pair<const char *, const char *>> root; // names and namespaces
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
            root.emplace_back(module->name, module->ns);
        writer.progress.module = module->name;
        writer.progress.number = position;
        if (module->implemented)
            write_module(&writer, module);
    }
    writer.counts.modules = root.size();
    for (size_t i = root.size(); i-- > 0;) {
        const std::string record = make_module_record(root[i].second);
        writer.counts.bytes += strlen(root[i].first) + record.size();
        content_add_field(&writer.hash, root[i].first, record);
    }
    write_hash(&writer);
    return writer.counts;
}
