#include "link/exchange.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <utility>

#include "base/log.h"
#include "base/session.h"
#include "base/signals.h"
#include "base/text.h"
#include "link/exchange_lock.h"
#include "link/xml_plain.h"
#include "link/xml_print.h"
#include "link/xml_root.h"

namespace
{

void release_lock()
{
    if (exchange_unlock() != 0)
        printf("pthread mutex unlock error!\n\t");
}

ssize_t socket_read(void *into, size_t size)
{
    const signal_window window;
    return read(server_fd, into, size);
}

ssize_t socket_write(const void *from, size_t size)
{
    const signal_window window;
    return write(server_fd, from, size);
}

// Fills in the header, with the next sequence number, and writes the frame; as
// msg_send.
int send_frame(const secret_block &frame)
{
    frame_header_write(frame.data, static_cast<uint32_t>(frame.size - frame_header_size),
                       session.send_seq);
    session.send_seq++;
    if (server_fd <= 0) {
        log_error("[ERROR] Connect to Server first!Send msg error.\n");
        return 0;
    }
    fflush(stdout); // nobody shall wait for the reply before he has seen the request
    if (exchange_lock() != 0) {
        printf("pthread mutex lock error!\n\t");
        return -1;
    }
    if (socket_write(frame.data, frame.size) < 0) {
        log_error("[ERROR] Send message failed(%s).\n", strerror(errno));
        release_lock();
        return -1;
    }
    return 0;
}

// Reads until `length` bytes are in; 0 or -1.
int read_body(char *into, uint32_t length)
{
    uint32_t have = 0;
    while (have < length) {
        const uint32_t missing = length - have;
        const ssize_t got = socket_read(into + have, missing);
        if (got < 1 || static_cast<size_t>(got) > missing) {
            log_debug("[DEBUG] Read message failed(%s). expected: %d, actual:%d\n", strerror(errno),
                      static_cast<int>(length), static_cast<int>(got));
            return -1;
        }
        have += static_cast<uint32_t>(got);
    }
    return 0;
}

// Drops a body for which there is no memory, so that the next read finds the
// header of the next frame.
void skip_body(uint32_t length)
{
    char piece[4096];
    while (length > 0) {
        const uint32_t wanted = length < sizeof piece ? length : uint32_t{sizeof piece};
        if (read_body(piece, wanted) != 0)
            return;
        length -= wanted;
    }
}

// Whether two replies are the same but for the digits of their message ids. The first
// is plain, so that these are known from its first tag.
bool is_same_answer(std::string_view plain, std::string_view other)
{
    constexpr std::string_view before_id = " message-id=\"";
    constexpr std::string_view digits = "0123456789";
    const size_t tag = text_starts_with(plain, "<?") ? plain.find("?>") + 2 : 0;
    const size_t at = text_slice(plain, 0, plain.find('>', tag)).find(before_id);
    if (at != std::string_view::npos) {
        const size_t id = at + before_id.size();
        if (text_slice(plain, 0, id) != text_slice(other, 0, id))
            return false;
        plain = text_slice(plain, plain.find_first_not_of(digits, id));
        other = text_slice(other, other.find_first_not_of(digits, id));
    }
    return plain == other;
}

} // namespace

int msg_send(text_buffer *text, frame_ending ending)
{
    const size_t zero = ending == frame_ends_in_zero ? 1 : 0;
    const secret_block frame(text->data.release(), text->length + zero);
    *text = text_buffer{};
    // The width of a size decides whether the second can be; the first is a text that failed.
    if (frame.size < frame_header_size || frame.size - frame_header_size > UINT32_MAX) {
        log_error("[ERROR] send error:out of memory!\n");
        return -1;
    }
    log_info("[INFO] Send a message to tarnd.\n");
    return send_frame(frame);
}

int msg_recv(reply_text *message)
{
    const size_t room_size = message->room_size;
    malloc_ptr<char> block = std::exchange(*message, {}).room;
    uint8_t header[frame_header_size];
    if (socket_read(header, sizeof header) != static_cast<ssize_t>(sizeof header))
        return -1;
    const uint32_t announced = frame_header_read(header).length;
    if (announced > frame_body_limit) {
        log_error("[ERROR] Packet is too big :%d\n", static_cast<int>(announced));
        return -1;
    }
    if (announced >= room_size) {
        block = nullptr; // first
        block.reset(static_cast<char *>(malloc(static_cast<size_t>(announced) + 1)));
    }
    if (!block) {
        log_error("[ERROR] Out of memory!\n");
        skip_body(announced);
        return -1;
    }
    if (read_body(block.get(), announced) != 0)
        return -1;
    block.get()[announced] = '\0';
    log_info("[INFO] Recv a message from tarnd.\n");
    message->text = std::move(block);
    message->length = announced;
    return 0;
}

int msg_wait_reply(reply_text *reply)
{
    reply_text before = std::exchange(*reply, {});
    reply->room = std::move(before.room);
    reply->room_size = before.room_size;
    int result = msg_recv(reply);
    while (result == 0) {
        const char *text = reply->text.get();
        reply->is_known = before.is_plain &&
                          is_same_answer({before.text.get(), before.length}, {text, reply->length});
        reply->is_plain = reply->is_known || xml_is_plain(text, reply->length, "notification");
        if (reply->is_plain || is_notification(text, reply->length) == 0)
            break;
        xml_print(text);
        result = msg_recv(reply);
    }
    if (reply->is_known) {
        reply->room = std::move(before.text);
        reply->room_size = before.length + size_t{1};
    }
    release_lock();
    return result;
}
