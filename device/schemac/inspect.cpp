// Everything is read from the hashes that the shell reads, so that what is shown
// is what the shell finds, whoever has stored it. Only revisions and features
// are taken from the notes, which another writer may not have left.
#include "device/schemac/inspect.h"

#include <inttypes.h>
#include <stdio.h>

#include "device/schemac/notes.h"
#include "device/schemac/report.h"
#include "device/schemac/stored.h"
#include "device/schemac/table.h"
#include "device/schemac/text_tools.h"
#include "device/schemac/tree_print.h"

namespace
{

constexpr size_t longest_help = 60;

// What stands in the database of one module.
struct module_total {
    uint64_t nodes;
    uint64_t bytes;
};
using module_totals = std::map<std::string, module_total>;

uint64_t bytes_of(const stored_hash &hash, const std::string &key)
{
    uint64_t bytes = hash.fields.empty() ? 0 : key.size();
    for (const hash_field &field : hash.fields)
        bytes += field.name.size() + field.value.size();
    return bytes;
}

// A node counts where its module is, a key where its list is.
void count_below(stored_schema *schema, const stored_place *parent, module_totals *totals)
{
    const std::vector<stored_place> children = stored_children(schema, parent);
    module_total *own = &(*totals)[parent->module];
    own->bytes += children.empty() ? 0 : stored_children_key(parent).size();
    if (!parent->is_module && parent->record.kind == node_kind_list)
        own->bytes += bytes_of(stored_read(schema, parent->path), parent->path);
    for (const stored_place &child : children) {
        module_total *total = &(*totals)[child.module];
        total->nodes++;
        total->bytes += child.bytes;
        if (may_have_children(child.record.kind))
            count_below(schema, &child, totals);
    }
}

std::string feature_text(const std::string &on, const std::string &off)
{
    if (off.empty())
        return on;
    return on + (on.empty() ? "off: " : "; off: ") + off;
}

// The notes on modules.
struct module_notes {
    std::map<std::string, std::string> revisions;
    std::map<std::string, std::string> features_on;
    std::map<std::string, std::string> features_off;
};

module_notes read_notes(stored_schema *schema)
{
    return {stored_note(schema, note_revisions), stored_note(schema, note_features_on),
            stored_note(schema, note_features_off)};
}

std::string or_dash(const std::string &text)
{
    return text.empty() ? "-" : text;
}

int fail(const schemac_options *options, const std::string &cause)
{
    report_error({"redis at " + options->where, 0, cause});
    return 1;
}

// Ends a program that has printed.
int finish(const schemac_options *options, const stored_schema *schema)
{
    if (!schema->failure.empty())
        return fail(options, schema->failure);
    return fflush(stdout) == 0 ? 0 : 1;
}

// Opens the database and reads the modules, at least one; 0 or -1.
int open_schema(const schemac_options *options, stored_schema *schema,
                std::vector<stored_place> *modules)
{
    schema->connection = database_open(&options->endpoint, &schema->failure);
    if (schema->connection != nullptr)
        *modules = stored_modules(schema);
    if (schema->failure.empty() && modules->empty())
        schema->failure = "no schema in database 4";
    return schema->failure.empty() ? 0 : -fail(options, schema->failure);
}

const char *const kind_names[] = {"module", "container", "leaf", "leaf-list", "list",
                                  "choice", "case",      "rpc",  "input"};

const char *kind_name(const stored_place *place)
{
    return kind_names[place->is_module ? 0 : static_cast<unsigned>(place->record.kind)];
}

// The properties of a place, a row for each that it has.
std::vector<table_row> describe(stored_schema *schema, const stored_place *place)
{
    std::vector<table_row> rows = {{"path", place->path}, {"kind", kind_name(place)}};
    const auto add = [&rows](const char *name, const std::string &text) {
        if (!text.empty())
            rows.push_back({name, text});
    };
    if (place->is_module) {
        module_notes notes = read_notes(schema);
        add("namespace", place->name_space);
        add("revision", notes.revisions[place->module]);
        add("features",
            feature_text(notes.features_on[place->module], notes.features_off[place->module]));
        return rows;
    }
    add("module", place->module);
    add("access", access_name(&place->record));
    add("type", place->record.type);
    if (place->record.kind == node_kind_list)
        add("keys", joined_text(stored_keys(schema, place)));
    add("help", place->record.help);
    return rows;
}

void show_children(const std::vector<stored_place> &children)
{
    if (children.empty())
        return;
    std::vector<table_row> rows = {{"NAME", "KIND", "ACCESS", "TYPE", "HELP"}};
    for (const stored_place &child : children)
        rows.push_back({stored_name(&child), kind_name(&child), access_name(&child.record),
                        child.record.type, cut_text(child.record.help, longest_help)});
    printf("\n");
    table_print(rows, "lllll");
}

// The steps of a path, without what stands in brackets.
std::vector<std::string> split_path(const std::string &path)
{
    std::vector<std::string> steps(1);
    char quote = '\0';
    unsigned depth = 0;
    for (const char letter : path) {
        if (quote != '\0' || (depth > 0 && (letter == '"' || letter == '\'')))
            quote = quote == '\0' ? letter : (letter == quote ? '\0' : quote);
        else if (letter == '[')
            depth++;
        else if (letter == ']' && depth > 0)
            depth--;
        else if (letter == '/' && depth == 0)
            steps.emplace_back();
        else if (depth == 0)
            steps.back().push_back(letter);
    }
    std::erase(steps, "");
    return steps;
}

// Finds the child of this name, also in choices and cases, which the path of an
// operator leaves out; false when there is none.
bool find_child(stored_schema *schema, const stored_place *parent, const std::string &name,
                stored_place *found)
{
    const std::vector<stored_place> children = stored_children(schema, parent);
    for (const stored_place &child : children) {
        if (stored_name(&child) == name) {
            *found = child;
            return true;
        }
    }
    for (const stored_place &child : children) {
        if ((child.record.kind == node_kind_choice || child.record.kind == node_kind_case) &&
            find_child(schema, &child, name, found))
            return true;
    }
    return false;
}

// Finds the node of a path; 0, or -1 after what is missing has been printed.
int find_place(stored_schema *schema, const std::vector<stored_place> &modules,
               const std::vector<std::string> &steps, stored_place *place)
{
    for (const stored_place &module : modules) {
        if (module.module == steps[0])
            *place = module;
    }
    if (place->path.empty()) {
        report_error({"/" + steps[0], 0, "no such module; --list shows those that there are"});
        return -1;
    }
    for (size_t i = 1; i < steps.size(); i++) {
        const stored_place parent = *place;
        if (!find_child(schema, &parent, steps[i], place) && schema->failure.empty()) {
            report_error({parent.path, 0, "no node " + steps[i] + " in it"});
            return -1;
        }
    }
    return 0;
}

} // namespace

int inspect_list(const schemac_options *options)
{
    stored_schema schema = {};
    std::vector<stored_place> modules;
    if (open_schema(options, &schema, &modules) != 0)
        return 1;
    module_totals totals;
    for (const stored_place &module : modules) {
        totals[module.module].bytes += module.bytes;
        count_below(&schema, &module, &totals);
    }
    module_notes notes = read_notes(&schema);
    std::vector<table_row> rows = {{"MODULE", "REVISION", "NODES", "BYTES", "FEATURES"}};
    for (const stored_place &module : modules) {
        const std::string &name = module.module;
        rows.push_back({name, or_dash(notes.revisions[name]), std::to_string(totals[name].nodes),
                        std::to_string(totals[name].bytes),
                        or_dash(feature_text(notes.features_on[name], notes.features_off[name]))});
    }
    module_total all = {0, sizeof "/" - 1};
    for (const auto &[name, total] : totals) {
        all.nodes += total.nodes;
        all.bytes += total.bytes;
    }
    if (schema.failure.empty()) {
        table_print(rows, "llrrl");
        printf("schemac: %zu modules, %" PRIu64 " nodes, %" PRIu64 " bytes\n", modules.size(),
               all.nodes, all.bytes);
    }
    return finish(options, &schema);
}

int inspect_show(const schemac_options *options)
{
    stored_schema schema = {};
    std::vector<stored_place> modules;
    if (open_schema(options, &schema, &modules) != 0)
        return 1;
    const std::vector<std::string> steps = split_path(options->shown_path);
    stored_place place = {};
    if (steps.empty()) {
        report_error(
            {options->shown_path, 0, "no module named; --list shows those that there are"});
        return 1;
    }
    if (find_place(&schema, modules, steps, &place) != 0)
        return 1;
    if (options->wants_tree) {
        tree_print(&schema, &place);
        return finish(options, &schema);
    }
    const std::vector<table_row> rows = describe(&schema, &place);
    const std::vector<stored_place> children = stored_children(&schema, &place);
    if (schema.failure.empty()) {
        table_print(rows, "ll");
        show_children(children);
    }
    return finish(options, &schema);
}
