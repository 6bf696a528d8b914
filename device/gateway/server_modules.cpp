#include "device/gateway/server_modules.h"

#include <algorithm>

#include "device/gateway/hello.h"

namespace
{

// Of the texts, and of the index: what fits into a hello.
constexpr size_t size_limit = hello_size_limit;

struct module_place {
    size_t name;
    size_t name_size;
    size_t uri_size; // it stands after the name
};

module_place *places(const server_modules *modules)
{
    return reinterpret_cast<module_place *>(modules->index.data.get());
}

size_t count(const server_modules *modules)
{
    return modules->index.size / sizeof(module_place);
}

std::string_view name_of(const server_modules *modules, const module_place &place)
{
    return byte_buffer_view(&modules->texts).substr(place.name, place.name_size);
}

// Whether a name that stands before a colon somewhere can be a prefix: not all can be, and some
// XML keeps for itself.
bool is_prefix(std::string_view name)
{
    return !name.empty() && name.find_first_of("0123456789-.") != 0 && !name.starts_with("xml");
}

} // namespace

int server_modules_add(server_modules *modules, std::string_view name, std::string_view uri)
{
    if (!is_prefix(name))
        return 0;
    const module_place place{modules->texts.size, name.size(), uri.size()};
    const bool is_added =
        byte_buffer_append_all(&modules->texts, {name, uri}, size_limit) == buffer_ok &&
        byte_buffer_append(&modules->index, reinterpret_cast<const char *>(&place), sizeof place,
                           size_limit) == buffer_ok;
    return is_added ? 0 : -1;
}

void server_modules_sort(server_modules *modules)
{
    module_place *from = places(modules);
    std::sort(from, from + count(modules),
              [modules](const module_place &left, const module_place &right) {
                  return name_of(modules, left) < name_of(modules, right);
              });
}

bool server_modules_empty(const server_modules *modules)
{
    return modules->index.size == 0;
}

std::string_view server_modules_find(const server_modules *modules, std::string_view name)
{
    const module_place *from = places(modules);
    const module_place *end = from + count(modules);
    const module_place *found = std::lower_bound(
        from, end, name, [modules](const module_place &place, std::string_view wanted) {
            return name_of(modules, place) < wanted;
        });
    if (found == end || name_of(modules, *found) != name)
        return {};
    return byte_buffer_view(&modules->texts)
        .substr(found->name + found->name_size, found->uri_size);
}
