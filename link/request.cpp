#include "link/request.h"

#include <stdio.h>

#include "base/session.h"
#include "bounded.h"
#include "link/exchange.h"
#include "link/xml_print.h"

heap_text request_head(std::string_view head)
{
    char id[16] = "";
    (void)sprintf_s(id, sizeof id, "%d", static_cast<int>(session.message_id));
    session.message_id++;
    return text_concat({head, id, "\">\r\n"});
}

int request_begin(text_buffer *request)
{
    const heap_text head = request_head();
    if (!head || text_append(request, frame_room) != 0)
        return -1;
    return text_append(request, head.get());
}

request_result request_exchange(heap_text request, reply_text *reply)
{
    // A statement of its own: the text lives until the end of it.
    const int failed = msg_send_text(std::move(request));
    return failed == 0 ? request_answer(reply) : request_unsent;
}

request_result request_exchange(text_buffer *request, reply_text *reply)
{
    return msg_send_buffer(request) == 0 ? request_answer(reply) : request_unsent;
}

request_result request_answer(reply_text *reply)
{
    return msg_wait_reply(reply) == 0 ? request_answered : request_unanswered;
}

void reply_print(const reply_text &reply)
{
    puts("\r");
    xml_print(reply.text.get());
}
