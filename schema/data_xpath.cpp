#include "schema/data_xpath.h"

#include <string.h>

#include "base/log.h"
#include "schema/database.h"
#include "schema/masking.h"
#include "schema/path.h"

namespace
{

struct xpath_writer {
    text_buffer text;
    ns_list *namespaces;
};

// Registers a module as a prefix; 0 or -1.
int use_module(xpath_writer *writer, std::string_view module)
{
    const heap_text prefix = text_copy(module);
    if (!prefix)
        return -1;
    const heap_text uri = module_namespace(module);
    if (!uri) {
        log_debug("[DEBUG] %s is not a module\n", prefix.get());
        return -1;
    }
    return ns_add(writer->namespaces, prefix.get(), uri.get());
}

// Writes name with its own prefix or that of module; a prefix of its own
// becomes the module in force.
int write_name(xpath_writer *writer, std::string_view name, std::string_view *module)
{
    const size_t colon = name.find(':');
    if (colon != std::string_view::npos) {
        *module = text_slice(name, 0, colon);
        name.remove_prefix(colon + 1);
    }
    if (use_module(writer, *module) != 0)
        return -1;
    return text_append_all(&writer->text, {*module, ":", name});
}

// Writes value as a string that holds both kinds of quotes: the parts between
// its single quotes, joined with the quotes themselves.
int write_concat(text_buffer *text, std::string_view value)
{
    int failed = text_append(text, "concat('");
    for (; failed == 0; failed = text_append(text, "',\"'\",'")) {
        const size_t quote = value.find('\'');
        failed = text_append(text, text_slice(value, 0, quote));
        if (failed != 0 || quote == std::string_view::npos)
            break;
        value.remove_prefix(quote + 1);
    }
    return failed != 0 ? -1 : text_append(text, "')");
}

int write_literal(text_buffer *text, const char *value)
{
    if (strchr(value, '\'') == nullptr)
        return text_append_all(text, {"'", value, "'"});
    if (strchr(value, '"') == nullptr)
        return text_append_all(text, {"\"", value, "\""});
    return write_concat(text, value);
}

// Writes one key=value of a predicate as a comparison.
int write_comparison(xpath_writer *writer, std::string_view pair, std::string_view module)
{
    const std::string_view key = text_take(&pair, '=');
    const heap_text value = text_copy(pair);
    if (value)
        make_plain(value.get());
    if (!value || write_name(writer, key, &module) != 0 || text_append(&writer->text, "=") != 0)
        return -1;
    return write_literal(&writer->text, value.get());
}

int write_predicate(xpath_writer *writer, std::string_view predicate, std::string_view module)
{
    if (text_append(&writer->text, "[") != 0)
        return -1;
    for (bool first = true; !predicate.empty(); first = false) {
        if ((!first && text_append(&writer->text, " and ") != 0) ||
            write_comparison(writer, text_take(&predicate, ','), module) != 0)
            return -1;
    }
    return text_append(&writer->text, "]");
}

int write_component(xpath_writer *writer, std::string_view component, std::string_view *module)
{
    const size_t open = component.find('[');
    if (text_append(&writer->text, "/") != 0 ||
        write_name(writer, text_slice(component, 0, open), module) != 0)
        return -1;
    if (open == std::string_view::npos)
        return 0;
    component.remove_prefix(open + 1);
    return write_predicate(writer, text_slice(component, 0, component.find(']')), *module);
}

} // namespace

heap_text data_xpath(const char *path, ns_list *namespaces)
{
    if (path == nullptr || path_levels(path) < 2)
        return nullptr;
    xpath_writer writer = {{}, namespaces};
    std::string_view module = path_module(path);
    std::string_view rest = path + 1 + module.size();
    while (!rest.empty()) {
        rest.remove_prefix(1);
        const std::string_view component = text_slice(rest, 0, rest.find('/'));
        if (write_component(&writer, component, &module) != 0)
            return nullptr;
        rest.remove_prefix(component.size());
    }
    return std::move(writer.text.data);
}
