// Choice and case nodes are named in the database but never in a data path. To
// put them in, a path is cut from its end until what remains is a node of the
// schema; the first component that was cut must then stand in a case of one of
// that node's choices. With the levels in place the search goes on below.
#include "schema/schema_path.h"

#include <algorithm>
#include <string.h>
#include <utility>

#include "base/hash.h"
#include "base/log.h"
#include "base/session.h"
#include "schema/command_reads.h"
#include "schema/database.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

// The path with the input level put in after the rpc, whose own path has choices
// and predicates like any other.
heap_text with_input_level(const char *path)
{
    const heap_text rpc = schema_path_of(session.rpc_path, path_scope_configuration);
    const heap_text input = rpc ? rpc_input_name(rpc.get()) : nullptr;
    const char *rest = path + strlen(session.rpc_path);
    return input ? text_concat({rpc.get(), "/", input.get(), rest}) : nullptr;
}

void empty_predicates(char *path)
{
    char *out = path;
    for (const char *in = path; *in != '\0';) {
        const char *close = *in == '[' ? strchr(in, ']') : nullptr;
        if (close != nullptr) {
            *out++ = '[';
            in = close;
        }
        *out++ = *in++;
    }
    *out = '\0';
}

// Finds the choice and case below `prefix` in whose case `name` stands, into
// `found` as prefix/choice/case; 1 found, 0 not found, -1 out of memory.
int find_case(std::string_view prefix, std::string_view name, heap_text *found);

// What is done with each prefix/choice/case.
enum case_search {
    case_search_fields, // the case's own fields
    case_search_nested, // the choices inside the case
};

// Whether a field is of this kind and has a path of its own: one with a name that is
// longer may have that of another, and be gone through again and again.
bool is_branch(const hash_fields &fields, size_t index, node_kind kind)
{
    return is_record_of_kind(hash_field_value(fields, index), kind) &&
           is_path_step(hash_field_name(fields, index));
}

int search_cases(std::string_view choice_path, std::string_view name, case_search search,
                 heap_text *found)
{
    const hash_fields cases = schema_hash(choice_path);
    for (size_t i = 0; i < cases.count; i++) {
        if (!is_branch(cases, i, node_kind_case))
            continue;
        heap_text case_path = text_concat({choice_path, "/", hash_field_name(cases, i)});
        if (!case_path)
            return -1;
        if (search == case_search_nested) {
            const int result = find_case(case_path.get(), name, found);
            if (result != 0)
                return result;
        } else if (schema_has_field(case_path.get(), name)) {
            *found = std::move(case_path);
            return 1;
        }
    }
    return 0;
}

int search_choices(std::string_view prefix, const hash_fields &children, std::string_view name,
                   case_search search, heap_text *found)
{
    for (size_t i = 0; i < children.count; i++) {
        if (!is_branch(children, i, node_kind_choice))
            continue;
        const heap_text choice_path = text_concat({prefix, "/", hash_field_name(children, i)});
        const int result = choice_path ? search_cases(choice_path.get(), name, search, found) : -1;
        if (result != 0)
            return result;
    }
    return 0;
}

int find_case(std::string_view prefix, std::string_view name, heap_text *found)
{
    if (prefix.empty() || prefix == "/") // the root holds modules, no choices
        return 0;
    const hash_fields children = schema_hash(prefix);
    const int direct = search_choices(prefix, children, name, case_search_fields, found);
    if (direct != 0)
        return direct;
    return search_choices(prefix, children, name, case_search_nested, found);
}

// The longest beginning of path that names a node; all of it when nothing had
// to be cut, and nothing of one that is too deep to be asked for level by level.
std::string_view existing_prefix(std::string_view path)
{
    const bool is_too_deep = std::count(path.begin(), path.end(), '/') > deepest_hash;
    std::string_view prefix = is_too_deep ? std::string_view() : path;
    while (!prefix.empty() && !schema_path_exists(prefix))
        prefix = text_slice(prefix, 0, prefix.rfind('/'));
    return prefix;
}

heap_text insert_choices(heap_text path)
{
    while (path && path_levels(path.get()) > 1) {
        const std::string_view whole = path.get();
        const std::string_view prefix = existing_prefix(whole);
        if (prefix.size() == whole.size())
            return path;
        std::string_view rest = text_slice(whole, prefix.size() + 1);
        const std::string_view name = text_slice(rest, 0, rest.find('/'));
        heap_text case_path;
        const int found = find_case(prefix, name, &case_path);
        if (found == 0)
            log_debug("[DEBUG] error: invalid path %s\r\n\n", shown_text(path.get()).get());
        if (found != 1)
            return nullptr;
        path = text_concat({case_path.get(), "/", rest});
    }
    return path;
}

bool is_found(const found_path &found, const char *path)
{
    return found.path != nullptr && strcmp(found.path, path) == 0;
}

// Where the command keeps what it has found for this path, or for one that gives way to it;
// null for nowhere. There are two places for paths that meet: a line goes by several in turns.
// Which of them meet is the same in each run, and so is what a command costs.
found_path *found_slot(const char *path)
{
    if (session.reads == nullptr)
        return nullptr;
    const uint32_t hash = hash_text(hash_start, path, hash_known_factor);
    found_path *pair = &session.reads->found[2 * hash_bucket(hash, found_path_slots / 2)];
    if (!is_found(pair[0], path) && !is_found(pair[1], path))
        std::swap(pair[0], pair[1]);
    return is_found(pair[1], path) ? &pair[1] : &pair[0];
}

} // namespace

heap_text schema_path_of(const char *path, path_scope scope)
{
    if (path == nullptr || *path != '/')
        return nullptr;
    const bool in_rpc = scope == path_scope_session && path_in_rpc(path);
    heap_text sought = in_rpc ? text_concat({session.rpc_path, "\n", path}) : text_copy(path);
    if (!sought)
        return nullptr;
    empty_predicates(sought.get());
    found_path *found = found_slot(sought.get());
    if (found != nullptr && is_found(*found, sought.get()))
        return text_copy(found->schema_path);
    heap_text schema_path = in_rpc ? with_input_level(path) : text_copy(sought.get());
    if (schema_path && in_rpc)
        empty_predicates(schema_path.get());
    schema_path = insert_choices(std::move(schema_path));
    heap_text copy = found != nullptr && schema_path ? text_copy(schema_path.get()) : nullptr;
    if (copy) {
        text_replace(&found->path, std::move(sought));
        text_replace(&found->schema_path, std::move(copy));
    }
    return schema_path;
}
