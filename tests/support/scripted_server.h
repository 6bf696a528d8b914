// A daemon for unit tests: a thread that answers frames on a socket.
//
// Steps are carried out in the order in which they were added: one that
// answers waits for a request first. Every request is kept, header and body.
// Add all steps before the code under test runs.
#pragma once

#include <functional>
#include <stdint.h>
#include <string>
#include <thread>
#include <vector>

struct server_frame {
    uint32_t magic;
    uint32_t length;
    uint16_t sequence;
    uint16_t reserved;
    std::string body; // as it came, with its terminating zero byte
};

// A frame as it goes over the wire.
std::string frame_bytes(const std::string &body, uint16_t sequence = 0);

class scripted_server
{
  public:
    // Takes over the socket and closes it in the end.
    explicit scripted_server(int socket_to_serve);
    ~scripted_server();
    scripted_server(const scripted_server &) = delete;
    scripted_server &operator=(const scripted_server &) = delete;

    // Waits for a request and answers with one frame.
    scripted_server &answer(const std::string &body);
    // Waits for a request and answers nothing.
    scripted_server &expect();
    // Sends a frame without waiting for a request.
    scripted_server &push(const std::string &body);
    // Writes bytes that need not be a frame.
    scripted_server &push_raw(const std::string &bytes);
    // Closes the connection.
    scripted_server &hang_up();

    // Begins to carry out the steps.
    void start();
    // Waits until every step is done (a request that never comes ends when the
    // shell's end is closed), then returns what was received.
    const std::vector<server_frame> &finish();

  private:
    bool receive();
    void send(const std::string &bytes);

    int connection;
    std::vector<std::function<bool()>> steps;
    std::vector<server_frame> received;
    std::thread thread;
};
