// A gateway's relay whose four sides are strings, and the bytes that its tests
// have in common.
#pragma once

#include <memory>
#include <string.h>
#include <string>

#include "device/gateway/relay.h"

inline const std::string gateway_hello =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
    "<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><capabilities>"
    "<capability>urn:ietf:params:netconf:base:1.0</capability>"
    "<capability>urn:ietf:params:netconf:base:1.1</capability>"
    "</capabilities></hello>]]>]]>";

inline std::string server_hello_text(const std::string &version, const std::string &capabilities)
{
    return "<?xml version=\"1.0\"?>\n<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\">\n"
           "<capabilities>\n<capability>urn:ietf:params:netconf:base:" +
           version + "</capability>\n" + capabilities +
           "</capabilities>\n<session-id>42</session-id>\n</hello>]]>]]>";
}

inline std::string frame(const std::string &body, unsigned sequence = 0)
{
    std::string bytes = std::string("\xFF\xBA\xDC\xFE", 4);
    for (unsigned shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(body.size() >> shift & 0xFF);
    bytes += static_cast<char>(sequence & 0xFF);
    bytes += static_cast<char>(sequence >> 8);
    return bytes + std::string(2, '\0') + body;
}

inline std::string chunked(const std::string &message)
{
    return "\n#" + std::to_string(message.size()) + "\n" + message + "\n##\n";
}

// A relay whose four sides are strings.
struct relay_bench {
    std::unique_ptr<relay> session = std::make_unique<relay>();
    std::string reason; // why it ended

    explicit relay_bench(bool subscribe = true)
    {
        session->number = 1;
        session->subscribe = subscribe;
        advance();
    }

    void judge(const char *verdict)
    {
        if (verdict != nullptr && reason.empty())
            reason = verdict;
    }

    void advance()
    {
        if (reason.empty())
            judge(relay_advance(session.get()));
    }

    // Takes what goes out, up to limit bytes, in pieces of step bytes.
    std::string drain(outgoing *message, size_t step = 7)
    {
        std::string text;
        while (reason.empty() && !outgoing_idle(message)) {
            const struct iovec *part = message->parts;
            while (part->iov_len == 0)
                part++;
            const size_t size = part->iov_len < step ? part->iov_len : step;
            text.append(static_cast<const char *>(part->iov_base), size);
            outgoing_advance(message, size);
            advance();
        }
        return text;
    }

    std::string to_server()
    {
        return drain(&session->to_server);
    }

    std::string to_shell()
    {
        return drain(&session->to_shell);
    }

    // Gives the shell's bytes as far as they are wanted; returns the rest.
    std::string shell_sends(std::string bytes)
    {
        while (reason.empty() && !bytes.empty() && relay_shell_want(session.get()) > 0) {
            size_t size = relay_shell_want(session.get());
            if (size > bytes.size())
                size = bytes.size();
            judge(relay_shell_bytes(session.get(), bytes.data(), size));
            bytes.erase(0, size);
            advance();
        }
        return bytes;
    }

    // Gives the server's bytes in pieces; returns what is not wanted now.
    std::string server_sends(std::string bytes, size_t piece = 1000000)
    {
        while (reason.empty() && !bytes.empty() && relay_server_wanted(session.get())) {
            size_t size = bytes.size() < piece ? bytes.size() : piece;
            if (size > sizeof session->input)
                size = sizeof session->input;
            memcpy(session->input, bytes.data(), size);
            relay_server_bytes(session.get(), size);
            bytes.erase(0, size);
            advance();
        }
        return bytes;
    }
};
