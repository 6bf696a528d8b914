// An argument to its normalised path, schema path and XPath.
//
// Input: the workspace, the rpc's path (or an empty line), the argument, each
// in a line of its own.
#include <algorithm>
#include <vector>

#include "schema/data_xpath.h"
#include "schema/database.h"
#include "schema/masking.h"
#include "schema/path.h"
#include "schema/place.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_shell.h"

namespace
{

std::vector<std::string> components_of(const std::string &path)
{
    std::vector<std::string> components;
    std::string component;
    for (const char byte : path + "/") {
        if (byte != '/') {
            component += byte;
        } else if (!component.empty()) {
            components.push_back(component);
            component.clear();
        }
    }
    return components;
}

std::string joined(const std::vector<std::string> &components)
{
    std::string path;
    for (const std::string &component : components)
        path += "/" + component;
    return path.empty() ? "/" : path;
}

std::string masked(const std::string &text)
{
    return masked_copy(text.c_str()).get();
}

// False: the argument climbs where nothing is, or has a component that merely
// begins like "..".
bool resolved(const std::string &path, const std::string &rpc, std::string *result)
{
    std::vector<std::string> stack;
    for (const std::string &component : components_of(path)) {
        if (component.substr(0, 2) != "..") {
            if (component != ".")
                stack.push_back(component);
            continue;
        }
        if (component != ".." || stack.empty() || (!rpc.empty() && joined(stack) == rpc))
            return false;
        const size_t predicate = stack.back().find('[');
        if (predicate == 0 || predicate == std::string::npos)
            stack.pop_back();
        else
            stack.back().erase(predicate);
        if (predicate == 0)
            stack.emplace_back(); // nothing is left of a bare predicate but its level
    }
    *result = joined(stack);
    return true;
}

// The rule of a workspace that is a list: its entries are named like it.
bool entered_list(const std::string &workspace, std::string *path)
{
    const std::string beyond = workspace + "/";
    if (workspace == "/" || workspace.back() == ']' || path->compare(0, beyond.size(), beyond) != 0)
        return true;
    if (place_kind(place_at(workspace.c_str(), path_scope_session)) != node_kind_list)
        return true;
    const std::string name = workspace.substr(workspace.rfind('/') + 1) + "[";
    if (path->compare(beyond.size(), name.size(), name) != 0)
        return false;
    *path = workspace + path->substr(beyond.size() + name.size() - 1);
    return true;
}

bool absolute(const std::string &argument, std::string *path)
{
    const std::string rpc = session.rpc_path != nullptr ? session.rpc_path : "";
    const std::string workspace = session.pwd;
    std::string whole = argument;
    if (argument.empty() || argument[0] != '/') {
        const size_t skipped = argument.compare(0, 2, "./") == 0 ? 2 : 0;
        whole = workspace + "/" + argument.substr(skipped);
    }
    return resolved(masked(whole), rpc, path) && entered_list(masked(workspace), path);
}

// Takes a name off the front of *text.
bool take_name(std::string *text)
{
    const size_t length = text->find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789");
    const bool is_name = length > 0 && !text->empty() && (*text)[0] >= 'a';
    text->erase(0, length);
    return is_name;
}

// One component: a name, and a predicate in which every key has a name and a
// value of characters that an expression may hold.
bool is_well_formed(std::string component)
{
    if (!take_name(&component))
        return false;
    if (component.empty())
        return true;
    for (char expected = '['; component[0] == expected; expected = ',') {
        component.erase(0, 1);
        if (!take_name(&component) || component[0] != '=')
            return false;
        component.erase(0, std::min(component.find_first_of(",]["), component.size()));
        if (component == "]")
            return true;
    }
    return false;
}

bool is_text(char byte)
{
    return byte >= ' ' && byte <= '~';
}

// The path of an operator who makes no mistakes.
bool is_well_formed_path(const std::string &path)
{
    const std::vector<std::string> components = components_of(path);
    const std::string plain = unmasked_copy(path.c_str()).get();
    return joined(components) == path && std::all_of(plain.begin(), plain.end(), is_text) &&
           std::all_of(components.begin(), components.end(), is_well_formed);
}

void check_xpath(const char *path)
{
    static const char document[] = "<c xmlns=\"urn:m\"><l><name>a</name></l></c>";
    ns_list namespaces;
    const heap_text expression = data_xpath(path, &namespaces);
    if (expression) {
        const xml_doc parsed = xml_parse(document, sizeof document - 1);
        const xpath_result found(xpath_eval(parsed.get(), expression.get(), namespaces));
        xmlXPathCompExpr *compiled =
            xmlXPathCompile(reinterpret_cast<const xmlChar *>(expression.get()));
        fuzz_require(compiled != nullptr || !is_well_formed_path(path),
                     "a well-formed path becomes a valid expression");
        xmlXPathFreeCompExpr(compiled);
    }
}

void check_schema_path(const char *path)
{
    for (const path_scope scope : {path_scope_session, path_scope_configuration}) {
        const place at = place_at(path, scope);
        if (at.schema_path && path_levels(at.schema_path.get()) > 1)
            fuzz_require(schema_path_exists(at.schema_path.get()), "a schema path leads to a node");
        fuzz_require(!place_is_known(at) || at.schema_path, "a record has a schema path");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const std::string workspace = input.text_line();
    const std::string rpc = input.text_line();
    const std::string argument = input.text_line();
    fuzz_shell shell(fuzz_schema_sample);
    fuzz_shell::set_text(&session.pwd, "/" + workspace);
    if (!rpc.empty())
        fuzz_shell::set_text(&session.rpc_path, "/" + rpc);
    std::string wanted;
    const bool is_good = absolute(argument, &wanted);
    const heap_text path = path_absolute(fuzz_text(argument).get());
    fuzz_require((path != nullptr) == is_good, "refused where the reference refuses");
    if (path) {
        fuzz_require_equal(path.get(), wanted, "the reference's path");
        check_schema_path(path.get());
        check_xpath(path.get());
        const heap_text parent = path_parent(path.get());
        const heap_text listing = path_listing_parent(path.get());
        fuzz_require(path_is_within(path.get(), parent.get()), "a path lies within its parent");
        fuzz_require(path_is_within(path.get(), listing.get()), "and within what lists it");
    }
    return 0;
}
