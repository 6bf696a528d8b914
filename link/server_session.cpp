#include "link/server_session.h"

#include <errno.h>
#include <pwd.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#include "bounded.h"
#include "conf_agent.h"
#include "link/exchange.h"
#include "link/listener.h"
#include "link/xpath.h"
#include "shell/log.h"
#include "shell/session.h"
#include "shell/text.h"

namespace
{

constexpr size_t request_size = 1024;

// A login name too long for the buffer leaves the empty text, which is sent.
void create_session_request(char *buffer, const char *login_name)
{
    (void)sprintf_s(
        buffer, request_size,
        "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
        "xmlns:tarnd=\"com:quorvex:netconf:private:vesk:device:tarnd\" message-id=\"%d\">\r\n"
        "         <tarnd:create-session>\r\n"
        "         <tarnd:username>%s</tarnd:username>\r\n"
        "         <tarnd:agent-pid>%d</tarnd:agent-pid>\r\n"
        "         </tarnd:create-session>\r\n"
        "         </rpc>",
        static_cast<int>(session.message_id), login_name, static_cast<int>(getpid()));
    session.message_id++;
}

int read_session_id(const char *reply, uint32_t length)
{
    const xml_doc document = xml_parse(reply, length);
    if (!document) {
        log_debug("[DEBUG] Receive a invalid xml documen.\n");
        return -1;
    }
    ns_entry *namespaces = nullptr;
    if (ns_add(&namespaces, "tarnd", "com:quorvex:netconf:private:vesk:device:tarnd") != 0)
        return -1;
    const xpath_result found(
        xpath_eval(document.get(), "/base10:rpc-reply/tarnd:session-id", &namespaces));
    ns_free(&namespaces);
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
    heap_text request(static_cast<char *>(calloc(1, request_size)));
    if (!request)
        return -1;
    const struct passwd *user = getpwuid(getuid());
    if (user == nullptr)
        return -1;
    create_session_request(request.get(), user->pw_name);
    if (msg_send_text(std::move(request)) != 0)
        return -1;
    char *reply = nullptr;
    uint32_t length = 0;
    if (msg_wait_reply(&reply, &length) != 0)
        return -1;
    const malloc_ptr<char> owned_reply(reply);
    return read_session_id(reply, length);
}

int server_connect()
{
    const int fd = conf_agent_init();
    if (fd < 0) {
        log_error("[ERROR] Connect to tarnd failed(%s).\n", strerror(errno));
        return -1;
    }
    server_fd = fd;
    log_info("[INFO] Vandel connect to tarnd success.\n");
    const int result = session_create();
    if (result != 0) {
        close(fd);
        return result;
    }
    FD_ZERO(&session.listen_fds);
    if (fd < FD_SETSIZE)
        FD_SET(fd, &session.listen_fds);
    if (session.oneshot != 0)
        return 0;
    if (thread_create(notify_listener, nullptr) != 0) {
        close(fd);
        log_error("[ERROR] failed to creat notification thread \n");
        return -1;
    }
    return 0;
}
