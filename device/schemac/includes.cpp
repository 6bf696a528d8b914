// A submodule may include another. When such texts come to libyang through its
// callback, it forgets the definitions of the extensions that the inner one
// uses, and crashes where it compiles them: it notes them with the outer
// submodule, where it never looks again. A submodule that the module includes is
// noted with the module; and what stands in one is seen in all of them, whoever
// includes it.
#include "device/schemac/includes.h"

#include <algorithm>

namespace
{

bool includes(const yang_source *module, const std::string &name)
{
    return std::any_of(
        module->dependencies.begin(), module->dependencies.end(),
        [&name](const yang_dependency &one) { return one.is_include && one.name == name; });
}

void blank(std::string *text, const yang_dependency &include)
{
    for (size_t i = include.start; i < include.end; i++) {
        if ((*text)[i] != '\n')
            (*text)[i] = ' ';
    }
}

std::string statement_of(const yang_dependency &include)
{
    const std::string &revision = include.revision;
    return "include " + include.name +
           (revision.empty() ? "; " : " { revision-date " + revision + "; } ");
}

bool can_be_lifted(source_index *index, const yang_source *module, const yang_source *submodule,
                   const yang_dependency &one)
{
    if (!one.is_include || one.end == 0 || one.name == submodule->name)
        return false;
    return includes(module, one.name) ||
           (!module->is_version_1_1 && source_index_find(index, one.name, one.revision) != nullptr);
}

// Has the module include what its submodule includes, and blanks that.
void lift_from(source_index *index, yang_source *module, yang_source *submodule, std::string *added)
{
    for (yang_dependency &one : submodule->dependencies) {
        if (!can_be_lifted(index, module, submodule, one))
            continue;
        if (!includes(module, one.name)) {
            added->append(statement_of(one));
            module->dependencies.push_back(one);
        }
        blank(&submodule->text, one);
        one.end = 0;
    }
}

} // namespace

void includes_lift(source_index *index, yang_source *module)
{
    const auto first = std::find_if(module->dependencies.begin(), module->dependencies.end(),
                                    [](const yang_dependency &one) { return one.is_include; });
    if (first == module->dependencies.end())
        return;
    const size_t place = first->start;
    std::string added;
    for (size_t i = 0; i < module->dependencies.size(); i++) {
        const yang_dependency wanted = module->dependencies[i]; // the list grows
        if (!wanted.is_include || wanted.name == module->name)
            continue;
        yang_source *submodule = source_index_find(index, wanted.name, wanted.revision);
        if (submodule != nullptr && submodule->is_submodule)
            lift_from(index, module, submodule, &added);
    }
    module->text.insert(place, added);
}
