// Modules of any shape, made from the input so that libyang takes them all, as
// schemac stores them: the hashes, the children of each in their order, and what
// their records say, against what was put into the module.
//
// Making a context costs libyang some forty times as much as one more module, so
// several inputs share one. A module that was looked at counts as not
// implemented from then on, and is not written again with the next one.
//
// Input: what bytes make of a module is told where they are taken.
#include "device/schemac/record.h"

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_stored.h"

namespace
{

constexpr int modules_per_context = 32;
constexpr int most_nodes = 24;
constexpr int most_levels = 6;
constexpr size_t longest_exact_help = 100; // of which nothing is cut

struct wanted_node {
    std::string name;
    node_kind kind;
    bool is_config;
    std::string type; // empty: none
    std::string help; // how the help begins
};

using wanted_hashes = std::map<std::string, std::vector<wanted_node>>;

const char *const types[] = {
    "string;",
    "uint8;",
    "boolean;",
    "int64 { range \"min..-1 | 5\"; }",
    "enumeration { enum up; enum \"not up\"; }",
    "string { length \"1..5\"; pattern \"[a-z]*\"; }",
    "bits { bit x; bit y { position 9; } }",
    "decimal64 { fraction-digits 2; }",
    "union { type string; type uint8; }",
    "identityref { base kind; }",
    "binary;",
    "instance-identifier;",
};
constexpr size_t type_count = sizeof types / sizeof types[0];

// Where nodes are made.
struct making_place {
    std::string path;
    bool is_config;
    bool is_in_rpc;
    int level;
};

// A module and what is to be stored for it.
struct module_maker {
    fuzz_input *input;
    std::string text;
    wanted_hashes wanted;
    int nodes = 0;

    std::string new_name()
    {
        return "n" + std::to_string(nodes++);
    }

    // A text of up to 255 bytes that may stand between quotes; what is no plain
    // byte becomes white space or a character of several bytes.
    std::string quoted()
    {
        static const char *const others[] = {"\n", "\t", " ", "\xc3\xa9", "\xe6\xbc\xa2", "  "};
        std::string made;
        for (const char byte : input->take(input->byte())) {
            const auto value = static_cast<unsigned char>(byte);
            const bool is_plain = value > ' ' && value < 0x7f && byte != '"' && byte != '\\';
            made += is_plain ? std::string(1, byte) : others[value % 6];
        }
        return made;
    }

    // A description, or none; returns how the help text begins.
    std::string describe()
    {
        const std::string description = quoted();
        if (description.empty())
            return "";
        text += "description \"" + description + "\";\n";
        const std::string folded = folded_by_hand(description);
        return folded.size() <= longest_exact_help ? folded : "";
    }

    static std::string folded_by_hand(const std::string &shown)
    {
        std::string folded;
        bool is_apart = false;
        for (const char byte : shown) {
            if (byte == ' ' || byte == '\t' || byte == '\n') {
                is_apart = true;
                continue;
            }
            folded += is_apart && !folded.empty() ? " " : "";
            folded += byte;
            is_apart = false;
        }
        return folded;
    }

    void make_leaf(const making_place &place, const std::string &word, node_kind kind)
    {
        const std::string name = new_name();
        const std::string type = types[input->byte() % type_count];
        text += word + " " + name + " {\ntype " + type + "\n";
        const std::string help = describe();
        const unsigned more = input->byte();
        text += (more & 1) != 0 ? "units \"" + quoted() + "\";\n" : "";
        text += (more & 2) != 0 && kind == node_kind_leaf ? "mandatory true;\n" : "";
        text += "}\n";
        wanted[place.path].push_back(
            {name, kind, place.is_config, type.substr(0, type.find_first_of(" ;")), help});
    }

    // Whether what is made next says that it is no configuration.
    making_place below(const making_place &place)
    {
        making_place lower = place;
        lower.level++;
        if (!place.is_in_rpc && input->byte() % 4 == 0) {
            text += "config false;\n";
            lower.is_config = false;
        }
        return lower;
    }

    void make_container(const making_place &place)
    {
        const std::string name = new_name();
        text += "container " + name + " {\n";
        const std::string help = describe();
        making_place lower = below(place);
        lower.path += "/" + name;
        wanted[place.path].push_back({name, node_kind_container, lower.is_config, "", help});
        make_nodes(lower);
        text += "}\n";
    }

    void make_list(const making_place &place)
    {
        const std::string name = new_name();
        text += "list " + name + " {\n";
        const std::string help = describe();
        making_place lower = below(place);
        lower.path += "/" + name + "[]";
        wanted[place.path].push_back({name, node_kind_list, lower.is_config, "", help});
        std::string names;
        for (unsigned keys = input->byte() % 3 + (lower.is_config ? 1 : 0); keys > 0; keys--) {
            const std::string key = new_name();
            text += "leaf " + key + " { type string; }\n";
            names += (names.empty() ? "" : " ") + key;
            const wanted_node node = {key, node_kind_leaf, lower.is_config, "string", ""};
            wanted[place.path + "/" + name].push_back(node);
            wanted[lower.path].push_back(node);
        }
        text += names.empty() ? "" : "key \"" + names + "\";\n";
        make_nodes(lower);
        text += "}\n";
    }

    void make_choice(const making_place &place)
    {
        const std::string name = new_name();
        text += "choice " + name + " {\n";
        const std::string help = describe();
        making_place lower = below(place);
        lower.path += "/" + name;
        wanted[place.path].push_back({name, node_kind_choice, lower.is_config, "", help});
        for (unsigned cases = input->byte() % 3 + 1; cases > 0; cases--) {
            making_place inside = lower;
            const std::string case_name = new_name();
            inside.path += "/" + case_name;
            text += "case " + case_name + " {\n";
            wanted[lower.path].push_back({case_name, node_kind_case, lower.is_config, "", ""});
            make_nodes(inside);
            text += "}\n";
        }
        text += "}\n";
    }

    // One node, or none: what the shell has no use for is not stored.
    void make_node(const making_place &place)
    {
        const unsigned which = input->byte() % 7;
        const bool is_leaf = place.level >= most_levels || nodes >= most_nodes;
        if (which == 6)
            text += "anydata " + new_name() + ";\n";
        else if (which == 1)
            make_leaf(place, "leaf-list", node_kind_leaf_list);
        else if (which == 0 || is_leaf)
            make_leaf(place, "leaf", node_kind_leaf);
        else if (which == 2)
            make_container(place);
        else if (which == 3)
            make_list(place);
        else
            make_choice(place);
    }

    void make_nodes(const making_place &place)
    {
        for (unsigned count = input->byte() % 5; count > 0 && !input->empty(); count--)
            make_node(place);
    }

    void make_rpc(const std::string &module)
    {
        const std::string name = new_name();
        const std::string path = module + "/" + name;
        text += "rpc " + name + " {\n";
        const std::string help = describe();
        wanted[module].push_back({name, node_kind_rpc, false, "", help});
        wanted[path].push_back({"input", node_kind_input, true, "", ""});
        text += "input {\nleaf first { type string; }\n";
        wanted[path + "/input"].push_back({"first", node_kind_leaf, true, "string", ""});
        make_nodes({path + "/input", true, true, 2});
        text += "}\noutput {\nleaf last { type string; }\n}\n}\n";
    }

    void make_module(const std::string &name)
    {
        text = "module " + name + " {\nyang-version 1.1;\nnamespace \"urn:" + name +
               "\";\nprefix p;\nidentity kind;\nidentity one { base kind; }\n";
        make_nodes({"/" + name, true, false, 1});
        for (unsigned rpcs = input->byte() % 3; rpcs > 0; rpcs--)
            make_rpc("/" + name);
        text += "}\n";
    }
};

void check_child(const wanted_node &wanted, const std::string &name, const std::string &record)
{
    fuzz_require_equal(name, wanted.name, "the children in their order");
    const unsigned flags = static_cast<unsigned>(fuzz_number_at(record, 0));
    fuzz_require((flags >> 6 & 31) == static_cast<unsigned>(wanted.kind), "the kind");
    fuzz_require(((flags & 1) != 0) == wanted.is_config, "whether it is configuration");
    fuzz_require_equal(fuzz_stored_type(record), wanted.type, "the type");
    const std::string help = fuzz_stored_help(record);
    fuzz_require_equal(help.substr(0, wanted.help.size()), wanted.help, "the description");
}

// Choices keep their cases, and lists their keys, as the model has them; all
// else is stored in reverse.
bool is_reversed(const std::string &path, const std::vector<wanted_node> &children,
                 const wanted_hashes &all)
{
    return children[0].kind != node_kind_case && all.count(path + "[]") == 0;
}

void check_hashes(const wanted_hashes &wanted, const fuzz_hashes &stored)
{
    for (const auto &[path, children] : wanted) {
        const auto found = stored.find(path);
        fuzz_require(found != stored.end(), "every place is stored");
        fuzz_require(found->second.size() == children.size(), "with as many children");
        for (size_t i = 0; i < children.size(); i++) {
            const size_t at = is_reversed(path, children, wanted) ? children.size() - 1 - i : i;
            check_child(children[at], found->second[i].first, found->second[i].second);
        }
    }
    fuzz_require(stored.size() == wanted.size(), "and nothing else");
}

// A context and the modules in it that were looked at.
class shared_context
{
  public:
    ~shared_context()
    {
        forget();
    }

    ly_ctx *with_room()
    {
        if (looked_at.size() == modules_per_context)
            forget();
        if (!context)
            context = make_context();
        return context.get();
    }

    std::string next_name() const
    {
        return "m" + std::to_string(looked_at.size());
    }

    void hide(lys_module *module)
    {
        module->implemented = 0;
        looked_at.push_back(module);
    }

  private:
    static context_ptr make_context()
    {
        ly_ctx *made = nullptr;
        ly_log_level(LY_LLERR);
        const LY_ERR result =
            ly_ctx_new(nullptr,
                       LY_CTX_REF_IMPLEMENTED | LY_CTX_NO_YANGLIBRARY | LY_CTX_DISABLE_SEARCHDIRS |
                           LY_CTX_SET_PRIV_PARSED | LY_CTX_EXPLICIT_COMPILE,
                       &made);
        fuzz_require(result == LY_SUCCESS, "there is a context");
        return context_ptr(made);
    }

    // libyang frees what it compiled for implemented modules.
    void forget()
    {
        for (lys_module *module : looked_at)
            module->implemented = 1;
        looked_at.clear();
        context.reset();
    }

    context_ptr context;
    std::vector<lys_module *> looked_at;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static shared_context shared;
    ly_ctx *context = shared.with_room();
    const std::string name = shared.next_name();
    fuzz_input input(data, size);
    module_maker maker = {&input, "", {}};
    maker.make_module(name);
    lys_module *module = nullptr;
    const bool is_good =
        lys_parse_mem(context, maker.text.c_str(), LYS_IN_YANG, &module) == LY_SUCCESS &&
        ly_ctx_compile(context) == LY_SUCCESS;
    if (!is_good)
        fprintf(stderr, "%s\n%s\n", ly_errmsg(context), maker.text.c_str());
    fuzz_require(is_good, "libyang takes the module");
    check_hashes(maker.wanted, fuzz_stored_schema(context, {{name, "", {}}}, "/" + name));
    shared.hide(module);
    return 0;
}
