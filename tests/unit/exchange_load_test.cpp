// Requester and listener under load: ten thousand notifications a second while
// requests are under way. Each is printed once and whole, whoever read it, and
// each request gets its own reply. The listener never ends by itself, so the
// test runs in a process of its own.
#include <atomic>
#include <chrono>
#include <mutex>
#include <sys/wait.h>

#include "link/exchange.h"
#include "link/exchange_lock.h"
#include "link/listener.h"
#include "link/xml_print.h"
#include "tests/support/shell_world.h"

namespace
{

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto pace = 100us; // from one notification to the next
constexpr auto patience = 60s;
constexpr int notifications_with_requests = 10000;
constexpr int notifications_in_all = 30000;

std::string notification(int number)
{
    return "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"><n>" +
           std::to_string(number) + "</n></notification>";
}

std::string printed_notification(int number)
{
    return "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\">\n  <n>\n    " +
           std::to_string(number) + "\n  </n>\n</notification>\n";
}

// Replies are of all sizes, up to many times what a socket takes at once.
std::string padding(int number)
{
    const int largest_every = 97;
    return std::string(number % largest_every == 0 ? 400000 : static_cast<size_t>(number % 50) * 40,
                       'x');
}

std::string reply(int number)
{
    return "<rpc-reply><k>" + std::to_string(number) + "</k><x>" + padding(number) +
           "</x></rpc-reply>";
}

std::string printed_reply(int number)
{
    const std::string inside = padding(number).empty() ? "" : "    " + padding(number) + "\n";
    return "<rpc-reply>\n  <k>\n    " + std::to_string(number) + "\n  </k>\n  <x>\n" + inside +
           "  </x>\n</rpc-reply>\n";
}

int number_at(const char *text)
{
    return static_cast<int>(strtol(text, nullptr, 10));
}

// The far end of the socket: one thread answers, another one pushes.
class busy_daemon
{
  public:
    explicit busy_daemon(int socket_to_serve) : connection(socket_to_serve)
    {
        answering = std::thread([this] { answer(); });
    }

    ~busy_daemon()
    {
        shutdown(connection, SHUT_RDWR);
        answering.join();
        close(connection);
    }

    // Pushes the notifications first to last - 1 at their pace, or slower when
    // nobody reads them.
    void push(int first, int last)
    {
        auto due = steady_clock::now();
        for (int number = first; number < last; number++, due += pace) {
            std::this_thread::sleep_until(due);
            send_frame(notification(number));
        }
    }

  private:
    bool receive(void *into, size_t size) const
    {
        return recv(connection, into, size, MSG_WAITALL) == static_cast<ssize_t>(size);
    }

    void answer()
    {
        uint32_t header[3];
        while (receive(header, sizeof header)) {
            std::string body(header[1], '\0');
            if (!receive(&body[0], body.size()))
                return;
            send_frame(reply(number_at(body.c_str() + strlen("<rpc>"))));
        }
    }

    void send_frame(const std::string &body)
    {
        const std::lock_guard<std::mutex> one_at_a_time(writing);
        const std::string bytes = frame_bytes(body);
        for (size_t sent = 0; sent < bytes.size();) {
            const ssize_t more = send(connection, &bytes[sent], bytes.size() - sent, MSG_NOSIGNAL);
            if (more < 0)
                return;
            sent += static_cast<size_t>(more);
        }
    }

    int connection;
    std::mutex writing;
    std::thread answering;
};

class exchange_load_test : public shell_world
{
  protected:
    // One request; its reply is checked and printed.
    void request()
    {
        reply_text got;
        const std::string text = "<rpc>" + std::to_string(requests_made) + "</rpc>";
        ASSERT_EQ(send_text(text), 0);
        ASSERT_EQ(msg_wait_reply(&got), 0);
        EXPECT_EQ(std::string(got.text.get(), got.length), reply(requests_made));
        xml_print(got.text.get());
        requests_made++;
    }

    // Pushes notifications and makes requests until all of them are on their way.
    void request_during(busy_daemon &daemon, int first, int last)
    {
        std::atomic<bool> pushing = true;
        std::thread pusher([&] {
            daemon.push(first, last);
            pushing = false;
        });
        while (pushing && !HasFailure()) {
            request();
            std::this_thread::sleep_for(1ms);
        }
        pusher.join();
    }

    static bool wait_for(const captured_output &output, const std::string &text)
    {
        const auto end = steady_clock::now() + patience;
        while (steady_clock::now() < end) {
            if (output.text().find(text) != std::string::npos)
                return true;
            std::this_thread::sleep_for(50ms);
        }
        return false;
    }

    // Waits until as much was printed as there is to print.
    void wait_for_all(const captured_output &output) const
    {
        size_t wanted = 0;
        for (int number = 0; number < notifications_in_all; number++)
            wanted += printed_notification(number).size();
        for (int number = 0; number < requests_made; number++)
            wanted += printed_reply(number).size();
        const auto end = steady_clock::now() + patience;
        while (output.text().size() < wanted && steady_clock::now() < end)
            std::this_thread::sleep_for(100ms);
        EXPECT_EQ(output.text().size(), wanted);
    }

    // Takes the output apart, message by message.
    void check_messages(const std::string &text) const
    {
        const std::string head = "<notification ";
        std::vector<int> seen(notifications_in_all);
        int replies = 0;
        for (size_t at = 0; at < text.size();) {
            const bool is_notification = text.compare(at, head.size(), head) == 0;
            const std::string lead = is_notification ? "<n>\n    " : "<k>\n    ";
            const size_t digits = text.find(lead, at);
            ASSERT_NE(digits, std::string::npos) << text.substr(at, 300);
            const int number = number_at(text.c_str() + digits + lead.size());
            const std::string whole =
                is_notification ? printed_notification(number) : printed_reply(number);
            ASSERT_EQ(text.compare(at, whole.size(), whole), 0) << text.substr(at, 300);
            if (is_notification) {
                ASSERT_LT(number, notifications_in_all);
                seen[static_cast<size_t>(number)]++;
            } else {
                ASSERT_EQ(number, replies++);
            }
            at += whole.size();
        }
        EXPECT_EQ(seen, std::vector<int>(notifications_in_all, 1));
        EXPECT_EQ(replies, requests_made);
    }

    void run_load()
    {
        captured_output output;
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        server_fd = ends[0];
        busy_daemon daemon(ends[1]);
        exchange_wanted_init();
        ASSERT_EQ(thread_create(notify_listener, nullptr), 0);

        // The requester reads nearly all of them: the listener finds the lock busy.
        request_during(daemon, 0, notifications_with_requests);
        // Nobody else reads, until the listener does so without a pause ...
        const int middle = notifications_with_requests + 1;
        daemon.push(middle - 1, middle);
        ASSERT_TRUE(wait_for(output, printed_notification(middle - 1)));
        // ... and both read.
        request_during(daemon, middle, notifications_in_all);
        wait_for_all(output);
        check_messages(output.text());
        fprintf(stderr, "%d notifications, %d requests\n", notifications_in_all, requests_made);
    }

    int requests_made = 0;
};

TEST_F(exchange_load_test, every_notification_once_and_every_reply_its_requesters)
{
    fflush(stdout);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        run_load();
        fflush(stdout);
        _exit(HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

} // namespace
