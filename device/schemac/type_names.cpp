#include "device/schemac/type_names.h"

#include <string_view>

namespace
{

// The module that a prefix means in a module or submodule.
const lys_module *module_of_prefix(const lysp_module *parsed, std::string_view prefix)
{
    const lysp_import *imports = parsed->imports;
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(imports); i++) {
        if (prefix == imports[i].prefix)
            return imports[i].module;
    }
    return parsed->mod;
}

const lysc_node *find_child(const lysc_node *first, const lys_module *module, std::string_view name)
{
    for (const lysc_node *node = first; node != nullptr; node = node->next) {
        if (node->module == module && name == node->name)
            return node;
    }
    return nullptr;
}

const lysc_node *find_top(const lys_module *module, std::string_view name)
{
    const lysc_module *compiled = module->compiled;
    if (compiled == nullptr)
        return nullptr;
    const lysc_node *node = find_child(compiled->data, module, name);
    return node != nullptr
               ? node
               : find_child(reinterpret_cast<const lysc_node *>(compiled->rpcs), module, name);
}

// Follows an absolute schema node identifier, "/p:container/p:leaf".
const lysc_node *find_target(const lysp_module *parsed, const char *identifier)
{
    const lysc_node *node = nullptr;
    std::string_view rest = identifier;
    while (!rest.empty() && rest.front() == '/') {
        rest.remove_prefix(1);
        std::string_view step = rest.substr(0, rest.find('/'));
        rest.remove_prefix(step.size());
        size_t colon = step.find(':');
        const lys_module *module = parsed->mod;
        if (colon != std::string_view::npos) {
            module = module_of_prefix(parsed, step.substr(0, colon));
            step.remove_prefix(colon + 1);
        }
        node = node == nullptr ? find_top(module, step)
                               : find_child(lysc_node_child(node), module, step);
        if (node == nullptr)
            return nullptr;
    }
    return node;
}

// Modules and submodules have the same layout up to what is read here.
void collect_from(const lysp_module *parsed, type_names *names)
{
    const lysp_deviation *deviations = parsed->deviations;
    for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(deviations); i++) {
        for (const lysp_deviate *one = deviations[i].deviates; one != nullptr; one = one->next) {
            const lysp_type *type = one->mod == LYS_DEV_REPLACE
                                        ? reinterpret_cast<const lysp_deviate_rpl *>(one)->type
                                        : nullptr;
            const lysc_node *node =
                type != nullptr ? find_target(parsed, deviations[i].nodeid) : nullptr;
            if (node != nullptr)
                names->deviations.emplace(node, type);
        }
    }
}

} // namespace

type_names type_names_collect(const ly_ctx *context)
{
    type_names names;
    uint32_t position = 0;
    while (const lys_module *module = ly_ctx_get_module_iter(context, &position)) {
        if (!module->implemented || module->parsed == nullptr)
            continue;
        collect_from(module->parsed, &names);
        const lysp_include *includes = module->parsed->includes;
        for (LY_ARRAY_COUNT_TYPE i = 0; i < LY_ARRAY_COUNT(includes); i++) {
            if (includes[i].submodule != nullptr)
                collect_from(reinterpret_cast<const lysp_module *>(includes[i].submodule), &names);
        }
    }
    return names;
}

const lysp_type *type_names_find(const type_names *names, const lysc_node *node)
{
    if (!names->deviations.empty()) { // mostly there are none
        const auto deviation = names->deviations.find(node);
        if (deviation != names->deviations.end())
            return deviation->second;
    }
    const auto *parsed = static_cast<const lysp_node *>(node->priv);
    if (parsed != nullptr && parsed->nodetype == LYS_LEAF)
        return &reinterpret_cast<const lysp_node_leaf *>(parsed)->type;
    if (parsed != nullptr && parsed->nodetype == LYS_LEAFLIST)
        return &reinterpret_cast<const lysp_node_leaflist *>(parsed)->type;
    return nullptr;
}
