#include "schema/path.h"

#include <string.h>

#include "base/session.h"

namespace
{

// Calls visit(component) for the text between the slashes of path, empty texts
// included; visit returns false to stop, and so does this.
template <class Visit>
bool for_each_component(std::string_view path, Visit visit)
{
    while (!path.empty()) {
        path.remove_prefix(1);
        const std::string_view component = text_slice(path, 0, path.find('/'));
        path.remove_prefix(component.size());
        if (!visit(component))
            return false;
    }
    return true;
}

// A path that is rebuilt in the buffer it is read from: what is written never
// overtakes what is read.
struct path_writer {
    char *start;
    size_t length;
};

void write_component(path_writer *writer, std::string_view component)
{
    writer->start[writer->length] = '/';
    memmove(writer->start + writer->length + 1, component.data(), component.size());
    writer->length += component.size() + 1;
}

void finish_path(path_writer *writer)
{
    if (writer->length == 0)
        writer->start[writer->length++] = '/';
    writer->start[writer->length] = '\0';
}

// Goes one level up: from a list entry to its list, else to the parent.
bool write_parent(path_writer *writer, std::string_view rpc_path)
{
    const std::string_view written(writer->start, writer->length);
    if (written.empty() || (!rpc_path.empty() && written == rpc_path))
        return false;
    const size_t slash = written.rfind('/');
    const size_t predicate = written.find('[', slash);
    writer->length = predicate != std::string_view::npos ? predicate : slash;
    return true;
}

} // namespace

size_t path_levels(const char *path)
{
    size_t levels = 0;
    for (; *path != '\0'; path++)
        levels += *path == '/';
    return levels;
}

const char *path_last_component(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

std::string_view path_module(const char *path)
{
    if (path == nullptr || *path != '/')
        return {};
    return {path + 1, strcspn(path + 1, "/")};
}

bool is_path_step(std::string_view name)
{
    return name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

bool path_is_list_entry(const char *path)
{
    const size_t length = strlen(path);
    return length > 0 && path[length - 1] == ']';
}

heap_text path_parent(const char *path)
{
    const char *slash = strrchr(path, '/');
    if (slash == nullptr || slash == path)
        return text_copy("/");
    return text_copy({path, static_cast<size_t>(slash - path)});
}

heap_text path_listing_parent(const char *path)
{
    const char *predicate = path_is_list_entry(path) ? strrchr(path, '[') : nullptr;
    if (predicate == nullptr)
        return path_parent(path);
    return text_copy({path, static_cast<size_t>(predicate - path)});
}

bool path_is_within(const char *path, const char *prefix)
{
    const size_t length = strlen(prefix);
    if (strncmp(path, prefix, length) != 0)
        return false;
    return path[length] == '\0' || path[length] == '/' || path[length] == '[' ||
           (length == 1 && prefix[0] == '/');
}

bool path_in_rpc(const char *path)
{
    return session.rpc_path != nullptr && path_is_within(path, session.rpc_path);
}

bool path_outside_rpc(const char *path)
{
    return session.rpc_path != nullptr && !path_is_within(path, session.rpc_path);
}

void path_collapse(char *path)
{
    path_writer writer = {path, 0};
    for_each_component(path, [&](std::string_view component) {
        if (!component.empty() && component != ".")
            write_component(&writer, component);
        return true;
    });
    finish_path(&writer);
}

bool path_resolve_parents(char *path)
{
    const std::string_view rpc_path = session.rpc_path != nullptr ? session.rpc_path : "";
    path_writer writer = {path, 0};
    const bool resolved = for_each_component(path, [&](std::string_view component) {
        if (text_starts_with(component, ".."))
            return component.size() == 2 && write_parent(&writer, rpc_path);
        if (!component.empty())
            write_component(&writer, component);
        return true;
    });
    finish_path(&writer);
    return resolved;
}
