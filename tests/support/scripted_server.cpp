#include "tests/support/scripted_server.h"

#include <string.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr size_t header_size = 12;

template <class T>
T field_at(const char *header, size_t offset)
{
    T value;
    memcpy(&value, header + offset, sizeof value);
    return value;
}

} // namespace

std::string frame_bytes(const std::string &body, uint16_t sequence)
{
    const uint32_t magic = 0xFEDCBAFF;
    const auto length = static_cast<uint32_t>(body.size());
    std::string bytes(header_size, '\0');
    memcpy(&bytes[0], &magic, sizeof magic);
    memcpy(&bytes[4], &length, sizeof length);
    memcpy(&bytes[8], &sequence, sizeof sequence);
    return bytes + body;
}

scripted_server::scripted_server(int socket_to_serve) : connection(socket_to_serve) {}

scripted_server::~scripted_server()
{
    shutdown(connection, SHUT_RDWR);
    finish();
    close(connection);
}

scripted_server &scripted_server::answer(const std::string &body)
{
    expect();
    return push(body);
}

scripted_server &scripted_server::expect()
{
    steps.emplace_back([this] { return receive(); });
    return *this;
}

scripted_server &scripted_server::push(const std::string &body)
{
    return push_raw(frame_bytes(body));
}

scripted_server &scripted_server::push_raw(const std::string &bytes)
{
    steps.emplace_back([this, bytes] {
        send(bytes);
        return true;
    });
    return *this;
}

scripted_server &scripted_server::hang_up()
{
    steps.emplace_back([this] {
        shutdown(connection, SHUT_RDWR);
        return false;
    });
    return *this;
}

void scripted_server::start()
{
    thread = std::thread([this] {
        for (const auto &step : steps) {
            if (!step())
                return;
        }
    });
}

const std::vector<server_frame> &scripted_server::finish()
{
    if (thread.joinable())
        thread.join();
    return received;
}

bool scripted_server::receive()
{
    char header[header_size];
    if (recv(connection, header, sizeof header, MSG_WAITALL) != static_cast<ssize_t>(sizeof header))
        return false;
    server_frame frame = {field_at<uint32_t>(header, 0), field_at<uint32_t>(header, 4),
                          field_at<uint16_t>(header, 8), field_at<uint16_t>(header, 10), ""};
    frame.body.resize(frame.length);
    if (frame.length > 0 && recv(connection, frame.body.data(), frame.length, MSG_WAITALL) !=
                                static_cast<ssize_t>(frame.length))
        return false;
    received.push_back(std::move(frame));
    return true;
}

void scripted_server::send(const std::string &bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t count = ::send(connection, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count <= 0)
            return;
        done += static_cast<size_t>(count);
    }
}
