// libyang names the place of an error in a compiled schema by a path whose
// steps are node names, with a module where it changes, and statements in
// braces where the path runs through a grouping, an augment or the like. The
// steps are matched against the nested statements of the text of the last
// module named. A path into a grouping goes on at the grouping; a node that is
// reached in no other way is looked for by its name alone.
#include "device/schemac/locate.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>

#include "device/schemac/yang_cursor.h"

namespace
{

struct path_step {
    std::string keyword; // empty: any statement that defines a node
    std::string argument;
};

struct schema_path {
    std::string module; // the last one named
    std::vector<path_step> steps;
};

struct match_result {
    size_t steps;
    unsigned line;
};

bool defines_node(std::string_view keyword)
{
    constexpr std::string_view keywords[] = {"container", "leaf",   "leaf-list",   "list",
                                             "choice",    "case",   "anyxml",      "anydata",
                                             "rpc",       "action", "notification"};
    return std::find(std::begin(keywords), std::end(keywords), keyword) != std::end(keywords);
}

bool fits(const yang_statement &statement, const path_step &step)
{
    if (!step.keyword.empty())
        return statement.keyword == step.keyword && statement.argument == step.argument;
    if (statement.keyword == "input" || statement.keyword == "output")
        return statement.keyword == step.argument;
    return defines_node(statement.keyword) && statement.argument == step.argument;
}

// Reads one step, "name", "module:name" or "{keyword='argument'}", up to its end.
const char *read_step(const char *text, schema_path *path)
{
    path_step step;
    if (*text == '{') {
        const char *equals = strstr(text, "='");
        const char *end = equals != nullptr ? strstr(equals + 2, "'}") : nullptr;
        if (end == nullptr)
            return text + strlen(text);
        step.keyword.assign(text + 1, equals);
        step.argument.assign(equals + 2, end);
        path->steps.push_back(step);
        return end + 2;
    }
    const char *end = text + strcspn(text, "/\"");
    const char *name = text;
    if (const void *colon = memchr(text, ':', static_cast<size_t>(end - text))) {
        name = static_cast<const char *>(colon) + 1;
        path->module.assign(text, name - 1);
    }
    step.argument.assign(name, end);
    path->steps.push_back(step);
    return end;
}

schema_path read_path(const char *text)
{
    schema_path path;
    text = strchr(text, '/');
    while (text != nullptr && *text == '/') {
        text++;
        const char *colon = text + strcspn(text, ":/\"{");
        if (colon[0] == ':' && colon[1] == '{') { // "/module:{augment=...}"
            path.module.assign(text, colon);
            text = colon + 1;
        }
        text = read_step(text, &path);
    }
    return path;
}

// How many steps, from the first one on, lead down from a statement: one of
// depth 1 or, with anywhere, of any depth.
match_result match_steps(const yang_source *source, const path_step *steps, size_t count,
                         bool anywhere)
{
    yang_cursor cursor = yang_open(source->text);
    yang_statement statement;
    match_result best = {0, source->line};
    unsigned base = 1;
    size_t matched = 0; // the step with number i has matched at depth base + i
    while (best.steps < count && yang_next(&cursor, &statement)) {
        while (matched > 0 && statement.depth < base + matched)
            matched--;
        if (matched == 0)
            base = anywhere ? statement.depth : 1;
        if (statement.depth == base + matched && fits(statement, steps[matched])) {
            matched++;
            if (matched > best.steps)
                best = {matched, statement.line};
        }
    }
    return best;
}

// Goes on in the text's own grouping where a match ended at its use.
match_result follow_uses(const yang_source *source, const std::vector<path_step> &steps,
                         match_result best)
{
    while (best.steps > 0 && best.steps < steps.size() && steps[best.steps - 1].keyword == "uses") {
        std::vector<path_step> rest(steps.begin() + static_cast<long>(best.steps) - 1, steps.end());
        size_t colon = rest[0].argument.find(':');
        rest[0].keyword = "grouping";
        rest[0].argument.erase(0, colon == std::string::npos ? 0 : colon + 1);
        match_result more = match_steps(source, rest.data(), rest.size(), true);
        if (more.steps < 2)
            break;
        best = {best.steps + more.steps - 1, more.line};
    }
    return best;
}

match_result match_source(const yang_source *source, const std::vector<path_step> &steps)
{
    match_result best =
        follow_uses(source, steps, match_steps(source, steps.data(), steps.size(), false));
    if (best.steps == 0) {
        match_result last = match_steps(source, &steps.back(), 1, true);
        return last.steps == 1 ? match_result{1, last.line} : best;
    }
    return best;
}

} // namespace

error_place locate_error(const source_index *index, const yang_source *current, const char *path)
{
    constexpr char line_word[] = "Line number ";
    error_place place = {current, current != nullptr ? current->line : 0};
    if (path == nullptr)
        return place;
    if (strncmp(path, line_word, sizeof line_word - 1) == 0) {
        place.line = static_cast<unsigned>(strtoul(path + sizeof line_word - 1, nullptr, 10));
        return place;
    }
    schema_path wanted = read_path(path);
    if (wanted.steps.empty())
        return place;
    size_t best = 0;
    for (bool is_own : {true, false}) {
        for (const std::unique_ptr<yang_source> &source : index->sources) {
            if (!source->is_used || (module_of(source.get()) == wanted.module) != is_own)
                continue;
            match_result match = match_source(source.get(), wanted.steps);
            if (match.steps > best || (best == 0 && is_own && !source->is_submodule)) {
                best = match.steps;
                place = {source.get(), match.line};
            }
        }
        if (best > 0)
            break;
    }
    return place;
}
