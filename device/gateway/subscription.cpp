#include "device/gateway/subscription.h"

#include <string.h>

#include "bounded.h"
#include "device/gateway/answers.h"
#include "device/gateway/xml_pieces.h"
#include "device/gateway/xml_walk.h"
#include "format/namespaces.h"

namespace
{

// More notifications than this in so many seconds are a flood.
constexpr unsigned flood_limit = 100;
constexpr time_t flood_seconds = 10;

constexpr char subscription_id[] = "tarnd-gateway-subscription"; // none of a shell's

constexpr char session_namespace[] = "urn:ietf:params:xml:ns:yang:ietf-netconf-notifications";
constexpr std::string_view start_name = "netconf-session-start";

// Whether one of that name has been declared before rest.
bool is_first(std::string_view xpath, std::string_view rest, std::string_view name)
{
    std::string_view before = xpath;
    std::string_view earlier;
    while (xml_prefix_next(&before, &earlier) && before.size() > rest.size()) {
        if (earlier == name)
            return false;
    }
    return true;
}

// An XPath, with those names of modules declared that are prefixes in it.
int append_xpath(std::string_view xpath, const server_modules *modules, byte_buffer *out)
{
    int result = byte_buffer_add(out, {"<filter type=\"xpath\""});
    std::string_view rest = xpath;
    std::string_view name;
    while (result == 0 && xml_prefix_next(&rest, &name)) {
        const std::string_view uri = server_modules_find(modules, name);
        if (!uri.empty() && is_first(xpath, rest, name))
            result = attribute_write(xml_prefix_declaration, name, uri, out);
    }
    if (result != 0 || attribute_write("", "select", xpath, out) != 0)
        return -1;
    return byte_buffer_add(out, {"/>"});
}

int append_wish(const subscription_wish *wish, const server_modules *modules, byte_buffer *out)
{
    if (wish->stream != nullptr &&
        (byte_buffer_add(out, {"<stream>"}) != 0 || escaped_write(wish->stream, out) != 0 ||
         byte_buffer_add(out, {"</stream>"}) != 0))
        return -1;
    if (wish->filter == nullptr)
        return 0;
    return wish->filter[0] == '<'
               ? byte_buffer_add(out, {"<filter type=\"subtree\">", wish->filter, "</filter>"})
               : append_xpath(wish->filter, modules, out);
}

struct start_reader {
    char session[16]; // its number
    bool is_own;
};

xml_step on_end(void *context, const xml_walk *walk)
{
    auto *reader = static_cast<start_reader *>(context);
    const bool is_number = walk->depth == 3 &&
                           xml_element_is(&walk->open[1], session_namespace, start_name) &&
                           xml_element_is(&walk->open[2], session_namespace, "session-id");
    if (!is_number)
        return xml_step_on;
    reader->is_own = xml_walk_leaf(walk) == reader->session;
    return xml_step_end;
}

} // namespace

int subscription_write(const subscription_wish *wish, const server_modules *modules,
                       byte_buffer *out)
{
    constexpr char start[] = "<create-subscription xmlns=\"" NETCONF_NOTIFICATION_NAMESPACE "\"";
    const bool is_plain = wish->stream == nullptr && wish->filter == nullptr;
    byte_buffer operation{};
    const bool is_written =
        byte_buffer_add(&operation, {start, is_plain ? "/>" : ">"}) == 0 &&
        append_wish(wish, modules, &operation) == 0 &&
        byte_buffer_add(&operation, {is_plain ? "" : "</create-subscription>"}) == 0;
    return is_written ? request_write(subscription_id, byte_buffer_view(&operation), out) : -1;
}

bool subscription_is_answered(const message_head *head)
{
    return head->kind == message_rpc_reply && head->message_id != nullptr &&
           strcmp(head->message_id.get(), subscription_id) == 0;
}

bool subscription_tells_start(std::string_view message, uint32_t session_id)
{
    static const xml_events events = {nullptr, nullptr, on_end};
    if (message.find(start_name) == std::string_view::npos)
        return false;
    start_reader reader{};
    sprintf_s(reader.session, sizeof reader.session, "%u", static_cast<unsigned>(session_id));
    return xml_read(message, &events, &reader) == 0 && reader.is_own;
}

bool subscription_floods(subscription_flood *flood, time_t now)
{
    if (now < flood->period || now >= flood->period + flood_seconds) {
        flood->period = now;
        flood->count = 0;
    }
    const bool is_flood = ++flood->count > flood_limit && !flood->is_told;
    flood->is_told |= is_flood;
    return is_flood;
}
