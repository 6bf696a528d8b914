#include "link/request.h"

#include <stdio.h>

#include "base/session.h"
#include "bounded.h"
#include "link/xml_print.h"

int request_begin(text_buffer *request, std::string_view head)
{
    char id[16] = "";
    (void)sprintf_s(id, sizeof id, "%d", static_cast<int>(session.message_id));
    session.message_id++;
    return text_append_all(request, {frame_room, head, id, "\">\r\n"});
}

request_result request_exchange(text_buffer *request, reply_text *reply, frame_ending ending)
{
    if (msg_send(request, ending) != 0)
        return request_unsent;
    return msg_wait_reply(reply) == 0 ? request_answered : request_unanswered;
}

void reply_print(const reply_text &reply)
{
    puts("\r");
    xml_print(reply.text.get());
}
