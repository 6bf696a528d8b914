// Changes that are staged, changed again and taken back in any order, and the
// XML that they become, against a model of both.
//
// Input: for each step a byte that picks what is done, one that picks the path
// and one that picks the value.
#include "cmdtree/tree.h"
#include "cmdtree/xml_writer.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_shell.h"
#include "tests/fuzz/staging_model.h"

namespace
{

constexpr size_t longest_input = 768;

// A path and how its last component is written: the start tag's inside, the
// name in the end tag, the elements of its keys.
struct staged_path {
    const char *path;
    const char *tag; // empty: no element
    const char *name;
    const char *keys;
    staging_kind kind;
    bool takes_prefix; // a value's prefix is declared
};

const staged_path paths[] = {
    {"/m", "", "", "", staging_other, false},
    {"/o", "", "", "", staging_other, false},
    {"/m/c", "c xmlns=\"urn:m\"", "c", "", staging_other, false},
    {"/m/top", "top xmlns=\"urn:m\"", "top", "", staging_other, false},
    {"/o/oc", "oc xmlns=\"urn:o\"", "oc", "", staging_other, false},
    {"/o/oc/leaf", "leaf", "leaf", "", staging_other, false},
    {"/m/c/x", "x", "x", "", staging_other, false},
    {"/m/c/id", "id", "id", "", staging_other, true},
    {"/m/c/un", "un", "un", "", staging_other, true},
    {"/m/c/ll", "ll", "ll", "", staging_leaf_list, false},
    {"/m/c/sub", "sub", "sub", "", staging_other, false},
    {"/m/c/sub/z", "z", "z", "", staging_other, false},
    {"/m/c/a1", "a1", "a1", "", staging_other, false},
    {"/m/c/a2", "a2", "a2", "", staging_other, false},
    {"/m/c/a2/deep", "deep", "deep", "", staging_other, false},
    {"/m/c/p2", "p2", "p2", "", staging_other, false},
    {"/m/c/o:box", "box xmlns=\"urn:o\"", "box", "", staging_other, false},
    {"/m/c/o:box/lid", "lid", "lid", "", staging_other, false},
    {"/m/c/l", "l", "l", "", staging_other, false},
    {"/m/c/l[name=a]", "l", "l", "<name>a</name>", staging_other, false},
    {"/m/c/l[name=a]/v", "v", "v", "", staging_other, false},
    {"/m/c/l[name=a]/in[k=1]", "in", "in", "<k>1</k>", staging_other, false},
    {"/m/c/l[name=a]/in[k=1]/w", "w", "w", "", staging_other, false},
    {"/m/c/l[name=b\1c\2d]/v", "v", "v", "", staging_other, false},
    {"/m/c/l[name=b\1c\2d]", "l", "l", "<name>b/c:d</name>", staging_other, false},
    {"/m/c/l[name=\"e\3f\"]", "l", "l", "<name>e f</name>", staging_other, false},
    {"/m/c/l2[k1=x&y,k2=\"\x0b\"]/v", "v", "v", "", staging_other, false},
    {"/m/c/l2[k1=x&y,k2=\"\x0b\"]", "l2", "l2", "<k1>x&amp;y</k1><k2>[</k2>", staging_other, false},
    {"/m/c/none", "none", "none", "", staging_unknown, false},
};
constexpr size_t path_count = sizeof paths / sizeof paths[0];

// A value as it is staged, as it is written, and the prefix that it begins with.
struct staged_value {
    const char *staged;
    const char *written;
    const char *prefix; // null: none
};

const staged_value values[] = {
    {"1", "1", nullptr},
    {"a<b&c>\"d'e", "a&lt;b&amp;c&gt;&quot;d'e", nullptr},
    {"o:id", "o:id", "o"},
    {"m:id:x", "m:id:x", "m"},
    {"none:id", "none:id", ""}, // no module: nothing is declared
    {"\"two\3words\"", "two words", nullptr},
    {"\"word\"", "&quot;word&quot;", nullptr},
    {"", "", nullptr},
    {"2", "2", nullptr},
};

const staged_path *path_named(const std::string &path)
{
    for (const staged_path &known : paths) {
        if (path == known.path)
            return &known;
    }
    return nullptr;
}

const staged_value *value_staged(const std::string &value)
{
    for (const staged_value &known : values) {
        if (value == known.staged)
            return &known;
    }
    return nullptr;
}

// The XML of what is staged; false where a node of no type has a prefixed value.
bool write_xml(const staging_model::node &node, std::string *xml)
{
    const staged_path *path = node.path == "/" ? nullptr : path_named(node.path);
    const bool is_element = path != nullptr && *path->tag != '\0';
    const staged_value *value = node.value ? value_staged(*node.value) : nullptr;
    if (is_element) {
        std::string tag = path->tag;
        if (node.operation == staging_model::set && value != nullptr && value->prefix != nullptr) {
            if (path->kind == staging_unknown)
                return false;
            const std::string prefix = value->prefix;
            // The namespace of a name with a prefix stands in place of all others.
            if (path->takes_prefix && !prefix.empty())
                tag += " xmlns:" + prefix + "=\"urn:" + prefix + "\"";
        }
        tag += node.operation == staging_model::removed ? " xc:operation=\"delete\"" : "";
        *xml += "<" + tag + ">" + (value != nullptr ? value->written : path->keys);
        *xml += value != nullptr ? std::string("</") + path->name + ">" : "";
    }
    for (const staging_model::node &entry : node.values) {
        if (!write_xml(entry, xml))
            return false;
    }
    for (const staging_model::node &child : node.children) {
        if (!write_xml(child, xml))
            return false;
    }
    *xml += is_element && value == nullptr ? std::string("</") + path->name + ">" : "";
    return true;
}

void check_xml(const staging_model &model)
{
    std::string wanted;
    const bool is_good = write_xml(model.root, &wanted);
    fuzz_require((tree_to_xml(session.config_tree.root, path_scope_configuration) == 0) == is_good,
                 "written where the model can be");
    std::string got;
    for (unsigned slot = 0; slot < output_chunk_slots; slot++)
        got += pool_chunk_text(slot);
    fuzz_require_equal(got, is_good ? wanted : "", "the model's XML");
    pool_release();
}

void check_changes(const staging_model &model)
{
    std::string got;
    const cmd_node *node = session.config_tree.log.first;
    for (; node != nullptr; node = node->log_next) {
        got += std::to_string(node->operation) + " " + node->path +
               (node->value != nullptr ? std::string(" ") + node->value : "") + "\n";
    }
    fuzz_require_equal(got, model.all_changes(), "the model's changes");
    fuzz_require((session.config_tree.root == nullptr) == model.is_empty,
                 "a tree where something is staged");
    if (!model.is_empty)
        check_xml(model);
}

// What the read commands ask of a tree.
void check_staged(staging_model *model, const std::string &path)
{
    const staging_model::node *deepest = model->find_deepest(path);
    const bool is_there = deepest->path == path;
    bool is_staged = is_there;
    for (const staging_model::node &child : deepest->children)
        is_staged = is_staged || staging_model::begins_with(child.path, path + "[");
    const cmd_node *found = tree_find(&session.config_tree, path.c_str());
    const cmd_node *staged = tree_find_staged(&session.config_tree, path.c_str());
    fuzz_require((found != nullptr) == is_there, "found where the model has it");
    fuzz_require((staged != nullptr) == is_staged, "staged where the model has it");
    if (staged != nullptr)
        fuzz_require_equal(staged->path, deepest->path, "at the model's node");
}

void stage(staging_model *model, const staged_path &path, const char *value,
           cmd_operation operation)
{
    const std::optional<std::string> wanted =
        value != nullptr ? std::optional<std::string>(value) : std::nullopt;
    const bool is_taken = model->stage(path.path, wanted, operation, path.kind);
    fuzz_require((tree_stage_config(path.path, value, operation) == 0) == is_taken,
                 "taken where the model takes it");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_input)
        return -1;
    fuzz_input input(data, size);
    const fuzz_shell shell(fuzz_schema_sample);
    staging_model model;
    while (!input.empty()) {
        const unsigned step = input.byte() % 8;
        const staged_path &path = paths[input.byte() % path_count];
        const char *value = values[input.byte() % (sizeof values / sizeof values[0])].staged;
        if (step == 7)
            check_changes(model);
        else if (step == 6)
            check_staged(&model, path.path);
        else if (step == 5)
            stage(&model, path, path.kind == staging_leaf_list ? value : nullptr, operation_delete);
        else if (step == 4)
            stage(&model, path, nullptr, operation_delete);
        else
            stage(&model, path, step == 3 ? nullptr : value, operation_set);
    }
    check_changes(model);
    return 0;
}
