#include "device/gateway/hello.h"

#include <charconv>
#include <memory>
#include <new>
#include <string_view>

#include "device/gateway/xml_walk.h"
#include "format/namespaces.h"

const char hello_text[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
                          "<hello xmlns=\"" NETCONF_BASE_NAMESPACE "\"><capabilities>"
                          "<capability>urn:ietf:params:netconf:base:1.0</capability>"
                          "<capability>urn:ietf:params:netconf:base:1.1</capability>"
                          "</capabilities></hello>";

namespace
{

struct known_capability {
    std::string_view name;
    bool server_hello::*field;
};

constexpr known_capability known_capabilities[] = {
    {"urn:ietf:params:netconf:base:1.0", &server_hello::base_1_0},
    {"urn:ietf:params:netconf:base:1.1", &server_hello::base_1_1},
    {"urn:ietf:params:netconf:capability:notification:1.0", &server_hello::notifications},
    {"urn:ietf:params:netconf:capability:interleave:1.0", &server_hello::interleave},
    {"urn:ietf:params:netconf:capability:writable-running:1.0", &server_hello::writable_running},
    {"urn:ietf:params:netconf:capability:rollback-on-error:1.0", &server_hello::rollback_on_error},
    {"urn:ietf:params:netconf:capability:candidate:1.0", &server_hello::candidate},
    {"urn:ietf:params:netconf:capability:confirmed-commit:1.0", &server_hello::confirmed_commit},
    {"urn:ietf:params:netconf:capability:confirmed-commit:1.1", &server_hello::confirmed_commit},
    {"urn:ietf:params:netconf:capability:startup:1.0", &server_hello::startup},
    {"urn:ietf:params:netconf:capability:yang-library:1.0", &server_hello::yang_library},
    {"urn:ietf:params:netconf:capability:yang-library:1.1", &server_hello::yang_library},
    {"urn:ietf:params:netconf:capability:yang-library:1.1", &server_hello::module_sets},
};

constexpr std::string_view with_defaults = "urn:ietf:params:netconf:capability:with-defaults:1.0?";

// The value of a parameter of a capability; empty: it has none, or not all of it was kept.
std::string_view parameter(std::string_view capability, std::string_view name)
{
    const bool is_cut = capability.size() == xml_leaf_size;
    size_t at = capability.find('?');
    while (at != std::string_view::npos) {
        const std::string_view rest = capability.substr(at + 1);
        at = capability.find('&', at + 1);
        if (rest.starts_with(name) && (at != std::string_view::npos || !is_cut))
            return rest.substr(name.size(), rest.find('&') - name.size());
    }
    return {};
}

// 0, or -1: out of memory.
int note_module(server_hello *hello, std::string_view capability)
{
    const std::string_view uri = capability.substr(0, capability.find('?'));
    return server_modules_add(&hello->modules, parameter(capability, "module="), uri);
}

// The bits of the modes, between commas.
uint8_t read_modes(std::string_view names)
{
    uint8_t modes = 0;
    while (!names.empty()) {
        const std::string_view name = names.substr(0, names.find(','));
        const defaults_mode *mode = defaults_mode_find(name);
        if (mode != nullptr)
            modes |= mode->bit;
        names.remove_prefix(name.size() < names.size() ? name.size() + 1 : name.size());
    }
    return modes;
}

// What is known of a hello on the way through it.
struct hello_reader {
    server_hello *hello;
    bool lacks_memory;
    xml_walk walk;
};

// Whatever parameters it carries.
void note_capability(server_hello *hello, std::string_view capability)
{
    for (const known_capability &known : known_capabilities) {
        if (capability.substr(0, capability.find('?')) == known.name)
            hello->*known.field = true;
    }
    if (capability.starts_with(with_defaults)) {
        hello->defaults_modes |= read_modes(parameter(capability, "basic-mode="));
        hello->defaults_modes |= read_modes(parameter(capability, "also-supported="));
    }
}

// A decimal number from 1 to 2^32 - 1; 0 for anything else.
uint32_t read_session_id(std::string_view text)
{
    uint32_t number = 0;
    const char *end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

bool has_hello_root(const xml_walk *walk)
{
    return xml_is_base(&walk->open[0], "hello");
}

xml_step on_start(void *, const xml_walk *walk)
{
    return has_hello_root(walk) ? xml_step_on : xml_step_fail;
}

xml_step on_end(void *context, const xml_walk *walk)
{
    auto *reader = static_cast<hello_reader *>(context);
    const xml_element *element = &walk->open[walk->depth - 1];
    const std::string_view text = xml_walk_leaf(walk);
    if (xml_is_base(element, "capability")) {
        note_capability(reader->hello, text);
        reader->lacks_memory |= note_module(reader->hello, text) != 0;
    } else if (xml_is_base(element, "session-id"))
        reader->hello->session_id = read_session_id(text);
    return xml_step_on;
}

} // namespace

const char *server_hello_read(std::string_view text, server_hello *hello)
{
    static const xml_events events = {on_start, nullptr, on_end};
    *hello = {};
    if (text.size() > hello_size_limit)
        return "the server's hello is too long";
    const std::unique_ptr<hello_reader> reader(new (std::nothrow) hello_reader{});
    if (reader == nullptr)
        return "out of memory for the server's hello";
    reader->hello = hello;
    const int result = xml_walk_run(&reader->walk, text, &events, reader.get());
    if (reader->walk.step == xml_step_fail && !has_hello_root(&reader->walk))
        return "the server's first message is not a hello";
    if (result != 0)
        return "the server's hello is not well-formed";
    if (reader->lacks_memory)
        return "out of memory for the server's hello";
    server_modules_sort(&hello->modules);
    if (!hello->base_1_0 && !hello->base_1_1)
        return "the server's hello offers neither NETCONF 1.0 nor 1.1";
    if (hello->session_id == 0)
        return "the server's hello has no valid session-id";
    return nullptr;
}
