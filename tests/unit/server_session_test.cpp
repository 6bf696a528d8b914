// The create-session request and what becomes of its reply.
#include "link/server_session.h"

#include <errno.h>
#include <pwd.h>

#include "link/listener.h"
#include "tests/support/shell_world.h"

namespace
{

std::string login_name;
bool user_unknown = false;

std::string create_session(int message_id)
{
    return "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
           "xmlns:tarnd=\"com:quorvex:netconf:private:vesk:device:tarnd\" message-id=\"" +
           std::to_string(message_id) +
           "\">\r\n"
           "         <tarnd:create-session>\r\n"
           "         <tarnd:username>" +
           login_name +
           "</tarnd:username>\r\n"
           "         <tarnd:agent-pid>" +
           std::to_string(getpid()) +
           "</tarnd:agent-pid>\r\n"
           "         </tarnd:create-session>\r\n"
           "         </rpc>";
}

std::string session_reply(const std::string &id)
{
    return "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">"
           "<session-id xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">" +
           id + "</session-id></rpc-reply>";
}

const std::pair<int, std::string> sent = {14, "[INFO] Send a message to tarnd.\n"};
const std::pair<int, std::string> received = {14, "[INFO] Recv a message from tarnd.\n"};
const std::pair<int, std::string> connected = {14, "[INFO] Vandel connect to tarnd success.\n"};

class server_session_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        login_name = "operator";
        user_unknown = false;
        session.session_id = -7;
    }

    int create_with(const std::string &reply)
    {
        serve({reply});
        captured_log_take();
        return session_create();
    }

    static bool is_open(int descriptor)
    {
        return fcntl(descriptor, F_GETFD) >= 0;
    }
};

TEST_F(server_session_test, the_request)
{
    session.message_id = 41;
    EXPECT_EQ(create_with(session_reply("5")), 0);
    EXPECT_EQ(session.session_id, 5);
    EXPECT_EQ(session.message_id, 42U);
    EXPECT_EQ(requests(), std::vector<std::string>{create_session(41)});
    EXPECT_EQ(captured_log_take(), (log_lines{sent, received}));
}

TEST_F(server_session_test, a_login_name_is_not_escaped)
{
    login_name = "a<b>&\"c%s";
    EXPECT_EQ(create_with(session_reply("5")), 0);
    EXPECT_EQ(requests(), std::vector<std::string>{create_session(0)});
}

TEST_F(server_session_test, a_request_that_just_fits)
{
    login_name = "";
    login_name = std::string(1023 - create_session(0).size(), 'n');
    EXPECT_EQ(create_with(session_reply("5")), 0);
    EXPECT_EQ(requests(), std::vector<std::string>{create_session(0)});
}

TEST_F(server_session_test, a_request_that_does_not_fit_is_the_empty_text)
{
    login_name = "";
    login_name = std::string(1024 - create_session(0).size(), 'n');
    EXPECT_EQ(create_with(session_reply("5")), 0);
    EXPECT_EQ(requests(), std::vector<std::string>{""});
    EXPECT_EQ(session.message_id, 1U);
}

TEST_F(server_session_test, an_unknown_user_sends_nothing)
{
    user_unknown = true;
    EXPECT_EQ(create_with(session_reply("5")), -1);
    EXPECT_EQ(requests(), std::vector<std::string>{});
    EXPECT_EQ(session.message_id, 0U);
}

TEST_F(server_session_test, session_ids_have_their_bases)
{
    const std::pair<const char *, int> cases[] = {
        {"0x10", 16}, {"010", 8}, {"10", 10}, {" 12 x", 12}, {"x", 0}, {"", 0}, {"-3", -3}};
    for (const auto &[text, id] : cases) {
        EXPECT_EQ(create_with(session_reply(text)), 0) << text;
        EXPECT_EQ(session.session_id, id) << text;
    }
}

TEST_F(server_session_test, a_prefixed_session_id)
{
    EXPECT_EQ(create_with("<n:rpc-reply xmlns:n=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
                          "xmlns:q=\"com:quorvex:netconf:private:vesk:device:tarnd\">\n  "
                          "<q:session-id>9</q:session-id>\n</n:rpc-reply>"),
              0);
    EXPECT_EQ(session.session_id, 9);
}

// Some are read without a parser, some come close to that.
TEST_F(server_session_test, replies_that_are_nearly_usual)
{
    const std::string id = "<session-id xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">";
    const std::string usual = id + "5</session-id></rpc-reply>";
    const std::string base = " xmlns=\"" + base_ns + "\"";
    const std::pair<std::string, int> cases[] = {
        {"<rpc-reply message-id=\"0\"" + base + ">" + usual, 5},
        {"<?xml version=\"1.0\" encoding=\"UTF-8\"?><rpc-reply" + base + ">" + usual, 5},
        {"<rpc-reply xmlns='" + base_ns + "'>" + usual, 5},
        {"<rpc-reply" + base + ">" + id + "5</session-id>" + usual, 5},
        {"<rpc-reply" + base + ">" + id + "5<b/></session-id></rpc-reply>", 5},
        {"<rpc-reply a='" + base + "'>" + usual, -7},
        {"<rpc-reply" + base + "><a>" + usual, -7},
        {"<rpc-reply" + base + " a=1>" + usual, -7},
        {"<rpc-replies" + base + ">" + usual, -7},
        {"<rpc-reply xmlns:n=\"" + base_ns + "\">" + usual, -7},
    };
    for (const auto &[reply, expected] : cases) {
        session.session_id = -7;
        EXPECT_EQ(create_with(reply), expected == 5 ? 0 : -1) << reply;
        EXPECT_EQ(session.session_id, expected) << reply;
    }
}

TEST_F(server_session_test, a_reply_without_a_session_id)
{
    const std::string private_ns = " xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\"";
    for (const std::string &reply :
         {"<rpc-reply xmlns=\"" + base_ns + "\"/>",
          "<rpc-reply xmlns=\"" + base_ns + "\"><session-id>5</session-id></rpc-reply>",
          "<rpc-reply xmlns=\"" + base_ns + "\"><a><session-id" + private_ns +
              ">5</session-id></a></rpc-reply>",
          "<rpc-reply><session-id" + private_ns + ">5</session-id></rpc-reply>"}) {
        EXPECT_EQ(create_with(reply), -1) << reply;
        EXPECT_EQ(session.session_id, -7) << reply;
        EXPECT_EQ(captured_log_take(), (log_lines{sent, received}));
    }
}

TEST_F(server_session_test, a_reply_that_is_no_xml)
{
    for (const char *reply : {"", "hello", "<a>"}) {
        EXPECT_EQ(create_with(reply), -1);
        log_lines lines = captured_log_take();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back(),
                  std::make_pair(15, std::string("[DEBUG] Receive a invalid xml documen.\n")));
    }
}

TEST_F(server_session_test, a_daemon_that_does_not_answer)
{
    connect().expect().hang_up();
    server->start();
    EXPECT_EQ(session_create(), -1);
}

TEST_F(server_session_test, a_notification_comes_first)
{
    connect()
        .expect()
        .push("<notification "
              "xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"></notification>")
        .push(session_reply("3"));
    server->start();
    EXPECT_EQ(printed_by([] { EXPECT_EQ(session_create(), 0); }),
              "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">\n"
              "</notification>\n");
    EXPECT_EQ(session.session_id, 3);
}

TEST_F(server_session_test, connecting_without_a_listener)
{
    server = std::make_unique<scripted_server>(fake_conf_listen());
    server->answer(session_reply("5"));
    server->start();
    session.oneshot = 1;
    EXPECT_EQ(server_connect(), 0);
    EXPECT_GT(server_fd, 0);
    EXPECT_TRUE(FD_ISSET(server_fd, &session.listen_fds));
    EXPECT_EQ(fake_conf_calls(), 1);
    EXPECT_EQ(captured_log_take(), (log_lines{connected, sent, received}));
    EXPECT_EQ(requests(), std::vector<std::string>{create_session(0)});
}

TEST_F(server_session_test, a_connection_that_is_refused)
{
    fake_conf_refuse(ECONNREFUSED);
    EXPECT_NE(server_connect(), 0);
    EXPECT_EQ(server_fd, -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{11, "[ERROR] Connect to tarnd failed(Connection refused).\n"}}));
}

TEST_F(server_session_test, a_session_that_fails_closes_the_socket)
{
    server = std::make_unique<scripted_server>(fake_conf_listen());
    server->answer("<rpc-reply/>");
    server->start();
    EXPECT_NE(server_connect(), 0);
    EXPECT_GT(server_fd, 0); // the closed number
    EXPECT_FALSE(is_open(server_fd));
    server_fd = -1;
}

TEST_F(server_session_test, a_thread_needs_a_body)
{
    EXPECT_EQ(thread_create(nullptr, nullptr), -1);
    EXPECT_EQ(captured_log_take(),
              (log_lines{{15, "[DEBUG] The input callback function is NULL.\n"}}));
}

} // namespace

// In place of the C library's: another user than the operator, as whom a program may run.
extern "C" uid_t geteuid() noexcept
{
    return getuid() + 1;
}

// In place of the C library's: the operator that a test names.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" struct passwd *getpwuid(uid_t user)
{
    static struct passwd entry;
    if (user != getuid() || user_unknown)
        return nullptr;
    entry.pw_name = login_name.data();
    return &entry;
}
