#include "device/gateway/answers.h"

#include "bounded.h"
#include "format/namespaces.h"

namespace
{

constexpr struct {
    char byte;
    std::string_view reference;
} references[] = {{'&', "&amp;"}, {'<', "&lt;"},   {'"', "&quot;"},
                  {'\t', "&#9;"}, {'\n', "&#10;"}, {'\r', "&#13;"}};

std::string_view escaped(const char *byte)
{
    for (const auto &known : references) {
        if (known.byte == *byte)
            return known.reference;
    }
    return {byte, 1};
}

// A message with that id (null: none); what it holds is written by others.
int append_message(byte_buffer *out, std::string_view name, const char *message_id,
                   std::initializer_list<std::string_view> content)
{
    const bool is_written =
        byte_buffer_add(out, {"<", name, " xmlns=\"" NETCONF_BASE_NAMESPACE "\""}) == 0 &&
        (message_id == nullptr || attribute_write("", "message-id", message_id, out) == 0) &&
        byte_buffer_add(out, {">"}) == 0 && byte_buffer_add(out, content) == 0 &&
        byte_buffer_add(out, {"</", name, ">"}) == 0;
    return is_written ? 0 : -1;
}

} // namespace

int escaped_write(std::string_view value, byte_buffer *out)
{
    int result = 0;
    for (size_t at = 0; at < value.size() && result == 0; at++)
        result = byte_buffer_add(out, {escaped(&value[at])});
    return result;
}

int session_reply_write(const char *message_id, uint32_t session_id, byte_buffer *out)
{
    char number[16];
    sprintf_s(number, sizeof number, "%u", static_cast<unsigned>(session_id));
    return append_message(out, "rpc-reply", message_id,
                          {"<session-id xmlns=\"" TARND_NAMESPACE "\">", number, "</session-id>"});
}

int ok_reply_write(const char *message_id, byte_buffer *out)
{
    return append_message(out, "rpc-reply", message_id, {"<ok/>"});
}

int failure_reply_write(const char *message_id, const char *message, byte_buffer *out)
{
    byte_buffer text{};
    if (escaped_write(message, &text) != 0)
        return -1;
    return append_message(out, "rpc-reply", message_id,
                          {"<rpc-error><error-type>application</error-type>"
                           "<error-tag>operation-failed</error-tag>"
                           "<error-severity>error</error-severity>"
                           "<error-message xml:lang=\"en\">",
                           byte_buffer_view(&text), "</error-message></rpc-error>"});
}

int request_write(const char *message_id, std::string_view operation, byte_buffer *out)
{
    return append_message(out, "rpc", message_id, {operation});
}

int attribute_write(std::string_view prefix, std::string_view name, std::string_view value,
                    byte_buffer *out)
{
    const bool is_written = byte_buffer_add(out, {" ", prefix, name, "=\""}) == 0 &&
                            escaped_write(value, out) == 0 && byte_buffer_add(out, {"\""}) == 0;
    return is_written ? 0 : -1;
}

int closed_notice_write(const char *reason, time_t when, byte_buffer *out)
{
    struct tm parts;
    char stamp[32];
    if (gmtime_r(&when, &parts) == nullptr ||
        strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%SZ", &parts) == 0)
        return -1;
    constexpr char start[] =
        "<notification xmlns=\"" NETCONF_NOTIFICATION_NAMESPACE "\"><eventTime>";
    return byte_buffer_add(
        out,
        {start, stamp, "</eventTime><session-closed xmlns=\"urn:vandel:tarnd-gateway\"><reason>",
         reason, "</reason></session-closed></notification>"});
}
