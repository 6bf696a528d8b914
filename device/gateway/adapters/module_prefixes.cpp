// Identities and paths in the values of an edit-config, whose prefixes are names of modules. A
// shell, which knows no other ones, declares them nowhere, and many a server cannot map them. They
// are declared around the configuration, for those modules of which the server's hello tells the
// namespace.
//
// What looks like one and is text is declared, too, which changes nothing: no prefix is declared
// that means something else there already.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/answers.h"
#include "device/gateway/xml_pieces.h"
#include "device/gateway/xml_walk.h"

namespace
{

// So many modules are declared. No configuration of a device speaks of so many.
constexpr size_t used_limit = 64;

// The depths of a request's elements.
enum edit_depth : unsigned { edit_rpc, edit_operation, edit_config, edit_depths };

// What an edit-config needs.
struct prefix_finder {
    const server_modules *modules;
    std::string_view outer[edit_depths]; // the start tags around the configuration, and its own
    size_t config_end;                   // after the start tag of the configuration
    std::string_view used[used_limit];
    size_t used_count;
};

// The name of a tag without its prefix.
std::string_view local_name(std::string_view tag)
{
    const std::string_view name = tag.substr(1, tag.find_first_of(" \t\r\n/>") - 1);
    return name.substr(name.find(':') + 1);
}

std::string_view attributes_of(std::string_view tag)
{
    tag.remove_suffix(1);
    const size_t blank = tag.find_first_of(" \t\r\n");
    return blank == std::string_view::npos ? std::string_view{} : tag.substr(blank);
}

bool declares(std::string_view tag, std::string_view prefix)
{
    std::string_view rest = attributes_of(tag);
    xml_attribute attribute;
    while (xml_attribute_next(&rest, &attribute)) {
        if (attribute.name.starts_with(xml_prefix_declaration) &&
            attribute.name.substr(xml_prefix_declaration.size()) == prefix)
            return true;
    }
    return false;
}

bool is_declared(const prefix_finder *finder, std::string_view prefix)
{
    for (const std::string_view tag : finder->outer) {
        if (declares(tag, prefix))
            return true;
    }
    return false;
}

// Moves *at to the content of the configuration; false: there is none.
bool find_config(prefix_finder *finder, std::string_view request, size_t *at)
{
    unsigned depth = 0;
    xml_piece piece;
    while (xml_piece_next(request, at, &piece)) {
        if (piece.kind == xml_piece_end && depth > 0)
            depth--;
        if (piece.kind != xml_piece_start)
            continue;
        const std::string_view tag = request.substr(piece.from, piece.end - piece.from);
        if (depth < edit_depths)
            finder->outer[depth] = tag;
        finder->config_end = piece.end;
        if (depth == edit_config && local_name(tag) == "config")
            return true;
        depth++;
    }
    return false;
}

void use(prefix_finder *finder, std::string_view name)
{
    for (size_t at = 0; at < finder->used_count; at++) {
        if (finder->used[at] == name)
            return;
    }
    if (finder->used_count < used_limit && !server_modules_find(finder->modules, name).empty() &&
        !is_declared(finder, name))
        finder->used[finder->used_count++] = name;
}

// Finds the names of modules in the texts from at on.
void find_used(prefix_finder *finder, std::string_view request, size_t at)
{
    xml_piece piece;
    while (xml_piece_next(request, &at, &piece)) {
        if (piece.kind != xml_piece_text && piece.kind != xml_piece_cdata)
            continue;
        std::string_view rest = request.substr(piece.from, piece.end - piece.from);
        std::string_view name;
        while (xml_prefix_next(&rest, &name))
            use(finder, name);
    }
}

// 0, or -1: out of memory.
int write_declarations(const prefix_finder *finder, byte_buffer *out)
{
    int result = 0;
    for (size_t at = 0; at < finder->used_count && result == 0; at++) {
        const std::string_view name = finder->used[at];
        const std::string_view uri = server_modules_find(finder->modules, name);
        result = attribute_write(xml_prefix_declaration, name, uri, out);
    }
    return result;
}

bool applies(const server_hello *hello)
{
    return !server_modules_empty(&hello->modules);
}

// Without memory the request stays as it is.
adapter_verdict take_request(exchange *exchange, const message_head *head, byte_buffer *request)
{
    if (!message_asks(head, "edit-config"))
        return adapter_leaves;
    prefix_finder finder{};
    finder.modules = &exchange->server->modules;
    const std::string_view text = byte_buffer_view(request);
    size_t at = 0;
    if (find_config(&finder, text, &at))
        find_used(&finder, text, at);
    byte_buffer declarations{};
    if (finder.used_count == 0 || write_declarations(&finder, &declarations) != 0)
        return adapter_leaves;
    at = finder.config_end - 1; // in front of the tag's ">"
    return byte_buffer_replace(request, at, at, byte_buffer_view(&declarations)) == 0
               ? adapter_rewrites
               : adapter_leaves;
}

} // namespace

const adapter module_prefixes_adapter = {
    .applies = applies,
    .first = "names of modules in the values of an edit are declared",
    .request = take_request};
