// It looks for definitions in the submodules of a module only where the module has one
// of its own. And where a grouping is used at the top of a module, it puts the instances
// that stand right in the grouping, or in its use, into a parent that there is not.
#include "device/schemac/extensions.h"

#include <algorithm>
#include <string.h>

#include "device/schemac/yang_cursor.h"

namespace
{

struct extension_scan {
    yang_source *source;
    std::vector<std::string> prefixes;
    std::vector<bool> is_shared; // of the statements around: a grouping, or the use of one
    bool has_definition;
};

bool has_known_prefix(const extension_scan *scan, std::string_view keyword)
{
    const auto &prefixes = scan->prefixes;
    const std::string_view prefix = keyword.substr(0, keyword.find(':'));
    return std::find(prefixes.begin(), prefixes.end(), prefix) != prefixes.end();
}

// One with a prefix that means nothing stays, for libyang to report.
bool is_instance(const extension_scan *scan, std::string_view keyword)
{
    return keyword.find(':') != std::string_view::npos && has_known_prefix(scan, keyword);
}

void blank(extension_scan *scan, yang_cursor *cursor, const yang_statement &statement)
{
    std::string *text = &scan->source->text;
    const auto start = text->begin() + (statement.keyword.data() - text->data());
    yang_statement inner;
    while (yang_next_within(cursor, statement.depth, &inner))
        continue;
    std::replace_if(
        start, text->begin() + (cursor->rest.data() - text->data()),
        [](char letter) { return letter != '\n'; }, ' ');
}

void take_prefix(extension_scan *scan, const yang_statement &statement)
{
    if (statement.keyword == "prefix" && statement.depth <= 2)
        scan->prefixes.push_back(statement.argument);
}

void take_statement(extension_scan *scan, yang_cursor *cursor, const yang_statement &statement)
{
    scan->is_shared.resize(statement.depth);
    take_prefix(scan, statement);
    if (statement.keyword == "extension" && statement.depth == 1)
        scan->has_definition = true;
    if (statement.depth > 0 && scan->is_shared.back() && is_instance(scan, statement.keyword))
        blank(scan, cursor, statement);
    scan->is_shared.push_back(statement.keyword == "grouping" || statement.keyword == "uses");
}

bool has_submodules(const yang_source *source)
{
    return std::any_of(source->dependencies.begin(), source->dependencies.end(),
                       [](const yang_dependency &one) { return one.is_include; });
}

// The instance in an error, "prefix:name", or a prefix that means nothing; empty for an
// error of another kind.
std::string instance_in(const char *message)
{
    for (const char *start : {"Invalid prefix \"", "Extension definition of extension instance \"",
                              "Extension instance \""}) {
        const size_t length = strlen(start);
        if (strncmp(message, start, length) == 0 && strstr(message, "xtension instance") != nullptr)
            return std::string(message + length, strcspn(message + length, "\""));
    }
    return "";
}

// The line of the first such instance in a text, 0 when there is none.
unsigned line_of(yang_source *source, const std::string &instance)
{
    extension_scan scan = {source, {}, {}, false};
    const bool is_prefix = instance.find(':') == std::string::npos;
    yang_cursor cursor = yang_open(source->text);
    yang_statement statement;
    while (yang_next(&cursor, &statement)) {
        take_prefix(&scan, statement);
        const std::string_view keyword = statement.keyword;
        const bool is_it = is_prefix ? keyword.starts_with(instance + ":") : keyword == instance;
        if (is_it && !(is_prefix && has_known_prefix(&scan, keyword)))
            return statement.line;
    }
    return 0;
}

} // namespace

error_place extensions_locate(const source_index *index, const yang_source *current,
                              const char *message)
{
    const std::string instance = instance_in(message);
    if (instance.empty() || current == nullptr)
        return {nullptr, 0};
    for (const bool is_own : {true, false}) {
        for (const std::unique_ptr<yang_source> &source : index->sources) {
            if (!source->is_used || (module_of(source.get()) == module_of(current)) != is_own)
                continue;
            if (const unsigned line = line_of(source.get(), instance))
                return {source.get(), line};
        }
    }
    return {nullptr, 0};
}

void extensions_adapt(yang_source *source)
{
    if (!source->has_instances && !has_submodules(source))
        return;
    extension_scan scan = {source, {}, {}, false};
    yang_cursor cursor = yang_open(source->text);
    yang_statement statement;
    for (bool is_there = yang_next(&cursor, &statement); is_there;
         is_there = yang_next_within(&cursor, 0, &statement))
        take_statement(&scan, &cursor, statement);
    const bool is_whole = cursor.depth == 0 && !scan.is_shared.empty();
    if (is_whole && has_submodules(source) && !scan.has_definition)
        source->text.insert(static_cast<size_t>(cursor.rest.data() - source->text.data()) - 1,
                            "extension schemac-none;");
}
