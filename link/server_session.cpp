#include "link/server_session.h"

#include <errno.h>
#include <pwd.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>

#include "base/log.h"
#include "base/session.h"
#include "base/text.h"
#include "bounded.h"
#include "conf_agent.h"
#include "descriptor.h"
#include "format/namespaces.h"
#include "link/exchange_lock.h"
#include "link/listener.h"
#include "link/request.h"
#include "link/xpath.h"

namespace
{

constexpr size_t request_size = 1024;
constexpr const char *before_name = "         <tarnd:create-session>\r\n"
                                    "         <tarnd:username>";
constexpr const char *before_pid = "</tarnd:username>\r\n"
                                   "         <tarnd:agent-pid>";
constexpr const char *after_pid = "</tarnd:agent-pid>\r\n"
                                  "         </tarnd:create-session>\r\n"
                                  "         </rpc>";
constexpr std::string_view before_id = "<session-id xmlns=\"" TARND_NAMESPACE "\">";
constexpr std::string_view after_id = "</session-id></rpc-reply>";

// The create-session rpc, in an empty buffer; a login name too long for it leaves the
// empty text, which is sent. 0, or -1 when memory runs out.
int create_session_request(text_buffer *request, const char *login_name)
{
    char pid[16] = "";
    (void)sprintf_s(pid, sizeof pid, "%d", static_cast<int>(getpid()));
    if (request_begin(request, "<rpc xmlns=\"" NETCONF_BASE_NAMESPACE
                               "\" xmlns:tarnd=\"" TARND_NAMESPACE "\" message-id=\"") != 0 ||
        text_append_all(request, {before_name, login_name, before_pid, pid, after_pid}) != 0)
        return -1;
    if (request->length - frame_room.size() >= request_size)
        text_keep(request, 0, frame_room.size());
    return 0;
}

// The id in a plain reply of the usual kind, which takes no parser; empty for any other.
std::string_view plain_session_id(std::string_view reply)
{
    const std::string_view head = text_slice(reply, 0, reply.find('>'));
    if (!text_starts_with(head, "<rpc-reply ") || head.find('\'') != std::string_view::npos ||
        head.find(" xmlns=\"" NETCONF_BASE_NAMESPACE "\"") == std::string_view::npos)
        return {};
    reply.remove_prefix(head.size() + 1);
    if (!text_starts_with(reply, before_id))
        return {};
    reply.remove_prefix(before_id.size());
    const size_t length = reply.find_first_not_of("0123456789");
    return length != 0 && text_slice(reply, length) == after_id ? text_slice(reply, 0, length)
                                                                : std::string_view();
}

int read_session_id(const reply_text &reply)
{
    const std::string_view id =
        reply.is_plain ? plain_session_id({reply.text.get(), reply.length}) : std::string_view();
    if (!id.empty()) {
        session.session_id = static_cast<int>(strtol(id.data(), nullptr, 0));
        return 0;
    }
    const xml_doc document = xml_parse(reply.text.get(), reply.length);
    if (!document) {
        log_debug("[DEBUG] Receive a invalid xml documen.\n");
        return -1;
    }
    ns_list namespaces;
    if (ns_add(&namespaces, "tarnd", TARND_NAMESPACE) != 0)
        return -1;
    const xpath_result found =
        xpath_eval(document.get(), "/base10:rpc-reply/tarnd:session-id", namespaces);
    if (!found)
        return -1;
    const xml_content text = xml_node_content(found->nodesetval->nodeTab[0]);
    if (!text)
        return -1;
    session.session_id =
        static_cast<int>(strtol(reinterpret_cast<const char *>(text.get()), nullptr, 0));
    return 0;
}

} // namespace

int session_create()
{
    const struct passwd *user = getpwuid(getuid());
    if (user == nullptr)
        return -1;
    text_buffer request;
    reply_text reply;
    if (create_session_request(&request, user->pw_name) != 0 ||
        request_exchange(&request, &reply) != request_answered)
        return -1;
    return read_session_id(reply);
}

int server_connect()
{
    descriptor socket(conf_agent_init());
    if (socket.fd < 0) {
        log_error("[ERROR] Connect to tarnd failed(%s).\n", strerror(errno));
        return -1;
    }
    server_fd = socket.fd;
    log_info("[INFO] Vandel connect to tarnd success.\n");
    const int result = session_create();
    if (result != 0)
        return result;
    FD_ZERO(&session.listen_fds);
    if (socket.fd < FD_SETSIZE)
        FD_SET(socket.fd, &session.listen_fds);
    if (session.oneshot == 0) {
        exchange_wanted_init();
        if (thread_create(notify_listener, nullptr) != 0) {
            log_error("[ERROR] failed to creat notification thread \n");
            return -1;
        }
    }
    socket.release();
    return 0;
}
