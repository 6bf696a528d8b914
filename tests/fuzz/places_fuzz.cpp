// Paths in schemas of any shape: the schema path, the record, the keys and the
// XPath of each, against a model that looks them up the long way.
//
// Input: bytes that make the schema, then bytes that make one path after the
// other, to the end of the input; what a byte means is told where it is taken.
#include "schema/data_xpath.h"
#include "schema/masking.h"
#include "schema/place.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_shell.h"
#include "tests/fuzz/place_model.h"

namespace
{

constexpr size_t longest_input = 1024;
constexpr unsigned most_nodes = 24;
constexpr int most_levels = 5;

const char *const names[] = {"a", "b", "c", "d", "e", "n:a", "n:b", "m:c", "q:d"};

enum model_kind {
    model_container = 1,
    model_leaf,
    model_leaf_list,
    model_list,
    model_choice,
    model_case,
    model_rpc,
    model_input,
};

// A key value as it is typed, and as it stands in an XPath.
struct typed_value {
    const char *typed;
    const char *literal;
};

const typed_value values[] = {
    {"v", "'v'"},
    {"x/y", "'x/y'"},
    {"x:y", "'x:y'"},
    {"it's", "\"it's\""},
    {"\"a b\"", "'a b'"},
    {"\"k=1,[2]\"", "'k=1,[2]'"},
    {"1.2.3.4", "'1.2.3.4'"},
};

template <class T, size_t count>
const T &pick(fuzz_input *input, const T (&choices)[count])
{
    return choices[input->byte() % count];
}

// Makes the schema, in the model and in the database.
struct schema_maker {
    fuzz_input *input;
    place_model *model;
    unsigned nodes;

    void put(const std::string &hash, const std::string &name, int kind, bool is_config)
    {
        std::vector<model_field> &fields = model->hashes[hash];
        const auto is_same = [&](const model_field &field) { return field.name == name; };
        if (std::none_of(fields.begin(), fields.end(), is_same)) {
            fields.push_back({name, kind, is_config});
            fake_redis_put_node(hash, name, kind, is_config);
        }
    }

    void make_keys(const std::string &list)
    {
        for (unsigned keys = input->byte() % 3; keys > 0; keys--) {
            const std::string name = pick(input, names);
            put(list, name, model_leaf, true);
            put(list + "[]", name, model_leaf, true);
        }
    }

    void make_children(const std::string &path, int level)
    {
        for (unsigned count = input->byte() % 5; count > 0 && nodes < most_nodes; count--)
            make_child(path, level);
    }

    void make_cases(const std::string &choice, int level)
    {
        for (unsigned cases = input->byte() % 4; cases > 0; cases--) {
            const std::string name = pick(input, names);
            put(choice, name, model_case, true);
            make_children(choice + "/" + name, level + 1);
        }
    }

    void make_child(const std::string &path, int level)
    {
        static const int kinds[] = {model_leaf,   model_container, model_list,
                                    model_choice, model_choice,    model_leaf_list};
        nodes++;
        const std::string name = pick(input, names);
        const int kind = level < most_levels ? pick(input, kinds) : model_leaf;
        put(path, name, kind, input->byte() % 2 == 0);
        if (kind == model_container) {
            make_children(path + "/" + name, level + 1);
        } else if (kind == model_list) {
            make_keys(path + "/" + name);
            make_children(path + "/" + name + "[]", level + 1);
        } else if (kind == model_choice) {
            make_cases(path + "/" + name, level);
        }
    }

    void make_rpc()
    {
        const unsigned shape = input->byte() % 4;
        if (shape > 0)
            put("/m", "r", model_rpc, true);
        if (shape > 1) {
            put("/m/r", shape == 2 ? "input" : "in", model_input, true);
            make_children(shape == 2 ? "/m/r/input" : "/m/r/in", 2);
        }
    }

    void make_all()
    {
        for (const char *module : {"m", "n"}) {
            model->modules[module] = std::string("urn:") + module;
            fake_redis_put_module(module, std::string("urn:") + module);
            make_children(std::string("/") + module, 1);
        }
        make_rpc();
    }
};

// A path as it is typed, and as an XPath; no XPath where a prefix is no module.
struct made_path {
    std::string typed;
    std::string xpath;
    bool has_xpath = true;
    std::set<std::string> prefixes;
    bool has_apostrophe = false; // and with it an open quotation
};

// Notes a name with the module in force, which its own prefix changes.
void add_name(made_path *path, const std::string &name, std::string *module)
{
    const size_t colon = name.find(':');
    if (colon != std::string::npos)
        *module = name.substr(0, colon);
    path->prefixes.insert(*module);
    path->xpath += *module + ":" + name.substr(colon == std::string::npos ? 0 : colon + 1);
}

void add_predicate(fuzz_input *input, made_path *path, const std::string &module)
{
    path->typed += "[";
    path->xpath += "[";
    const unsigned keys = input->byte() % 2 + 1;
    for (unsigned i = 0; i < keys; i++) {
        const std::string name = pick(input, names);
        const typed_value *value = &pick(input, values);
        const bool is_apostrophe = strchr(value->typed, '\'') != nullptr;
        if (path->has_apostrophe && strpbrk(value->typed, "'\"") != nullptr)
            value = &values[0];
        path->has_apostrophe = path->has_apostrophe || is_apostrophe;
        path->typed += (i > 0 ? "," : "") + name + "=" + value->typed;
        path->xpath += i > 0 ? " and " : "";
        std::string key_module = module;
        add_name(path, name, &key_module);
        path->xpath += std::string("=") + value->literal;
    }
    path->typed += "]";
    path->xpath += "]";
}

made_path make_path(fuzz_input *input, const std::string &beginning)
{
    made_path path;
    std::string module = beginning.empty() ? pick(input, {"m", "n", "x"}) : "m";
    path.typed = beginning.empty() ? "/" + module : beginning;
    if (!beginning.empty()) {
        path.xpath = "/";
        add_name(&path, "r", &module);
    }
    const unsigned levels = input->byte() % 6;
    for (unsigned i = 0; i < levels; i++) {
        const unsigned shape = input->byte();
        const std::string name = pick(input, names);
        path.typed += "/" + name;
        path.xpath += "/";
        add_name(&path, name, &module);
        if (shape % 3 == 0)
            add_predicate(input, &path, module);
    }
    const auto is_module = [](const std::string &prefix) { return prefix == "m" || prefix == "n"; };
    path.has_xpath = (levels > 0 || !beginning.empty()) &&
                     std::all_of(path.prefixes.begin(), path.prefixes.end(), is_module);
    return path;
}

void check_schema_path(const place_model &model, const std::string &masked, path_scope scope)
{
    const auto wanted = model.schema_path(masked, scope == path_scope_session);
    const place got = place_at(masked.c_str(), scope);
    fuzz_require((got.schema_path != nullptr) == wanted.has_value(),
                 "resolved where the model resolves it");
    if (!wanted)
        return;
    fuzz_require_equal(got.schema_path.get(), *wanted, "the model's schema path");
    const model_field *field = model.record(*wanted);
    fuzz_require((got.record != nullptr) == (field != nullptr), "a record where the model has one");
    if (field != nullptr) {
        fuzz_require(place_kind(got) == static_cast<unsigned>(field->kind), "of the same kind");
        fuzz_require(place_is_config(got) == field->is_config,
                     "configuration where the model says so");
    }
}

void check_keys(const place_model &model, const std::string &masked)
{
    // An entry has the keys of its list.
    const bool is_entry = masked.back() == ']' && masked.find('[') != std::string::npos;
    const auto wanted = model.keys(is_entry ? masked.substr(0, masked.rfind('[')) : masked);
    const place list = place_at(masked.c_str(), path_scope_session);
    key_names keys;
    fuzz_require((list_keys(list, &keys) == 0) == wanted.has_value(),
                 "keys where the model has them");
    if (wanted) {
        fuzz_require(keys.count == wanted->size(), "as many keys");
        for (size_t i = 0; i < keys.count; i++)
            fuzz_require_equal(keys.name[i], (*wanted)[i], "the keys in their order");
    }
}

void check_xpath(const made_path &path, const std::string &masked)
{
    ns_list namespaces;
    const heap_text got = data_xpath(masked.c_str(), &namespaces);
    fuzz_require((got != nullptr) == path.has_xpath, "an XPath where all prefixes are modules");
    if (got) {
        fuzz_require_equal(got.get(), path.xpath, "the model's XPath");
        std::set<std::string> prefixes;
        for (const ns_entry *entry = namespaces.first; entry != nullptr; entry = entry->next) {
            prefixes.insert(entry->prefix);
            fuzz_require_equal(entry->uri, std::string("urn:") + entry->prefix, "its namespace");
        }
        fuzz_require(prefixes == path.prefixes, "the prefixes that it uses");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_input)
        return -1;
    fuzz_input input(data, size);
    const fuzz_shell shell(fuzz_schema_none);
    place_model model;
    schema_maker maker = {&input, &model, 0};
    maker.make_all();
    if (input.byte() % 2 == 1) {
        model.rpc = "/m/r";
        fuzz_shell::set_text(&session.rpc_path, model.rpc);
    }
    while (!input.empty()) {
        const std::string beginning = input.byte() % 4 == 0 ? "/m/r" : "";
        const made_path path = make_path(&input, beginning);
        const std::string masked = masked_copy(path.typed.c_str()).get();
        check_schema_path(model, masked, path_scope_session);
        check_schema_path(model, masked, path_scope_configuration);
        check_keys(model, masked);
        check_xpath(path, masked);
    }
    return 0;
}
