#include "device/gateway/answers.h"

#include "bounded.h"
#include "format/namespaces.h"

namespace
{

int append(byte_buffer *out, std::initializer_list<std::string_view> pieces)
{
    return byte_buffer_append_all(out, pieces) == buffer_ok ? 0 : -1;
}

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

// The start tag of a message.
int append_start(const char *name, const char *message_id, byte_buffer *out)
{
    int result = append(out, {"<", name, " xmlns=\"" NETCONF_BASE_NAMESPACE "\"",
                              message_id != nullptr ? " message-id=\"" : ">"});
    if (result == 0 && message_id != nullptr)
        result = escaped_write(message_id, out);
    return result == 0 && message_id != nullptr ? append(out, {"\">"}) : result;
}

} // namespace

int escaped_write(std::string_view value, byte_buffer *out)
{
    int result = 0;
    for (size_t at = 0; at < value.size() && result == 0; at++)
        result = append(out, {escaped(&value[at])});
    return result;
}

int session_reply_write(const char *message_id, uint32_t session_id, byte_buffer *out)
{
    char number[16];
    sprintf_s(number, sizeof number, "%u", static_cast<unsigned>(session_id));
    if (append_start("rpc-reply", message_id, out) != 0)
        return -1;
    return append(
        out, {"<session-id xmlns=\"" TARND_NAMESPACE "\">", number, "</session-id></rpc-reply>"});
}

int ok_reply_write(const char *message_id, byte_buffer *out)
{
    return append_start("rpc-reply", message_id, out) == 0 ? append(out, {"<ok/></rpc-reply>"})
                                                           : -1;
}

int failure_reply_write(const char *message_id, const char *message, byte_buffer *out)
{
    const int result = append_start("rpc-reply", message_id, out);
    if (result != 0 || append(out, {"<rpc-error><error-type>application</error-type>"
                                    "<error-tag>operation-failed</error-tag>"
                                    "<error-severity>error</error-severity>"
                                    "<error-message xml:lang=\"en\">"}) != 0)
        return -1;
    return escaped_write(message, out) == 0
               ? append(out, {"</error-message></rpc-error></rpc-reply>"})
               : -1;
}

int request_write(const char *message_id, std::string_view operation, byte_buffer *out)
{
    return append_start("rpc", message_id, out) == 0 ? append(out, {operation, "</rpc>"}) : -1;
}

int declaration_write(std::string_view prefix, std::string_view uri, byte_buffer *out)
{
    if (append(out, {" xmlns:", prefix, "=\""}) != 0 || escaped_write(uri, out) != 0)
        return -1;
    return append(out, {"\""});
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
    return append(out, {start, stamp,
                        "</eventTime><session-closed xmlns=\"urn:vandel:tarnd-gateway\"><reason>",
                        reason, "</reason></session-closed></notification>"});
}
