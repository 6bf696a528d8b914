// The other ends of what bench/compare measures, which answer at once.
//
//     bench_peer daemon SOCKET REPLY   a configuration daemon on a Unix socket
//     bench_peer netconf REPLY         a NETCONF 1.0 server on its standard input and output
//     bench_peer read SOCKET [COUNT]   a client that asks a daemon COUNT times and reads each
//                                      reply into one buffer
//
// Whatever gets is answered with the file REPLY as it is at that time, all else with ok.
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <string_view>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "format/frame.h"

namespace
{

constexpr std::string_view mark = "]]>]]>";
constexpr std::string_view hello =
    "<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><capabilities>"
    "<capability>urn:ietf:params:netconf:base:1.0</capability></capabilities>"
    "<session-id>1</session-id></hello>]]>]]>";
constexpr std::string_view create = ":create-session>";
constexpr std::string_view session_reply =
    "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"0\">"
    "<session-id "
    "xmlns=\"com:quorvex:netconf:private:vesk:device:tarnd\">1</session-id></rpc-reply>";
constexpr std::string_view ok = "<rpc-reply xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
                                "message-id=\"0\"><ok/></rpc-reply>";
// What a shell that begins asks for.
constexpr std::string_view create_request =
    "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
    "xmlns:tarnd=\"com:quorvex:netconf:private:vesk:device:tarnd\" message-id=\"0\">\r\n"
    "         <tarnd:create-session>\r\n         <tarnd:username>root</tarnd:username>\r\n"
    "         <tarnd:agent-pid>1</tarnd:agent-pid>\r\n"
    "         </tarnd:create-session>\r\n         </rpc>";
constexpr std::string_view get_request =
    "<rpc message-id=\"0\" xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><get/></rpc>";

[[noreturn]] void fail(const char *what)
{
    perror(what);
    exit(1);
}

void write_all(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(descriptor, text.data(), text.size());
        if (count <= 0)
            fail("write");
        text.remove_prefix(static_cast<size_t>(count));
    }
}

// 0 at the end of the input.
size_t read_all(int descriptor, char *buffer, size_t size)
{
    size_t length = 0;
    while (length < size) {
        const ssize_t count = read(descriptor, buffer + length, size - length);
        if (count <= 0)
            return 0;
        length += static_cast<size_t>(count);
    }
    return length;
}

void write_frame_header(int descriptor, size_t length, uint16_t *sequence)
{
    char header[frame_header_size];
    frame_header_write(header, static_cast<uint32_t>(length), (*sequence)++);
    write_all(descriptor, {header, sizeof header});
}

bool is_get(std::string_view request)
{
    return request.find("<get") != std::string_view::npos;
}

// A file of its own for each reply: it may have been replaced.
int open_reply(const char *path, size_t *size)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    struct stat status;
    if (file < 0 || fstat(file, &status) != 0)
        fail(path);
    *size = static_cast<size_t>(status.st_size);
    return file;
}

void send_reply(int descriptor, int file, size_t size)
{
    while (size > 0) {
        const ssize_t count = sendfile(descriptor, file, nullptr, size);
        if (count <= 0)
            fail("sendfile");
        size -= static_cast<size_t>(count);
    }
    close(file);
}

int serve_shell(int connection, const char *path)
{
    char header[frame_header_size];
    std::string request;
    uint16_t sequence = 0;
    while (read_all(connection, header, sizeof header) != 0) {
        request.resize(frame_header_read(header).length);
        if (read_all(connection, request.data(), request.size()) == 0)
            return 1;
        size_t size = 0;
        if (is_get(std::string_view(request).substr(0, 1000))) {
            const int file = open_reply(path, &size);
            write_frame_header(connection, size, &sequence);
            send_reply(connection, file, size);
            continue;
        }
        const bool creates = request.find(create) < 1000;
        const std::string_view reply = creates ? session_reply : ok;
        write_frame_header(connection, reply.size(), &sequence);
        write_all(connection, reply);
    }
    return 0;
}

sockaddr_un address_of(const char *path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path)
        fail(path);
    memcpy(address.sun_path, path, strlen(path));
    return address;
}

int run_daemon(const char *path, const char *reply)
{
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = address_of(path);
    if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(listener, 100) != 0)
        fail(path);
    signal(SIGCHLD, SIG_IGN);
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection < 0)
            fail("accept");
        if (fork() == 0)
            _exit(serve_shell(connection, reply));
        close(connection);
    }
}

void answer(bool gets, const char *path)
{
    size_t size = 0;
    if (gets) {
        const int file = open_reply(path, &size);
        send_reply(1, file, size);
    } else {
        write_all(1, ok);
    }
    write_all(1, mark);
}

int run_netconf(const char *path)
{
    write_all(1, hello);
    std::string requests;
    char piece[65536];
    bool is_greeted = false;
    for (;;) {
        const ssize_t count = read(0, piece, sizeof piece);
        if (count <= 0)
            return 0;
        requests.append(piece, static_cast<size_t>(count));
        while (requests.ends_with(mark)) {
            const bool gets = is_get(std::string_view(requests).substr(0, 1000));
            requests.erase(0, requests.find(mark) + mark.size());
            if (is_greeted)
                answer(gets, path);
            is_greeted = true;
        }
    }
}

// Asks, and reads the reply into the buffer, which grows to hold it.
void ask(int connection, std::string_view request, uint16_t *sequence, std::string *buffer)
{
    char header[frame_header_size];
    write_frame_header(connection, request.size() + 1, sequence);
    write_all(connection, {request.data(), request.size() + 1});
    if (read_all(connection, header, sizeof header) == 0)
        fail("reply");
    const size_t length = frame_header_read(header).length;
    if (buffer->size() < length)
        buffer->resize(length);
    if (read_all(connection, buffer->data(), length) != length)
        fail("reply");
}

int run_read(const char *path, long count)
{
    const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = address_of(path);
    if (connect(connection, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        fail(path);
    uint16_t sequence = 0;
    std::string buffer;
    ask(connection, create_request, &sequence, &buffer);
    for (long i = 0; i < count; i++)
        ask(connection, get_request, &sequence, &buffer);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string_view mode = argc > 2 ? argv[1] : "";
    if (mode == "daemon" && argc == 4)
        return run_daemon(argv[2], argv[3]);
    if (mode == "netconf" && argc == 3)
        return run_netconf(argv[2]);
    if (mode == "read" && argc < 5)
        return run_read(argv[2], argc == 4 ? strtol(argv[3], nullptr, 10) : 1);
    fputs("usage: bench_peer daemon SOCKET REPLY | netconf REPLY | read SOCKET [COUNT]\n", stderr);
    return 2;
}
