// The command delete-config: startup is emptied.
#include "commands/commands.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/text.h"
#include "link/exchange.h"
#include "link/request.h"

int cmd_delete_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1) {
        printf("error command, please use:delete-config\r\n ");
        return 0;
    }
    const heap_text head = request_head();
    heap_text request = text_concat({head ? head.get() : "", "  <delete-config>\r\n"
                                                             "    <target>\r\n"
                                                             "      <startup/>\r\n"
                                                             "    </target>\r\n"
                                                             "  </delete-config>\r\n"
                                                             "</rpc>\r\n"});
    if (!head || !request) {
        puts("delete config cmd buf malloc fail.\r");
        return 0;
    }
    // This request alone travels without the zero byte after its text.
    if (msg_send(request.get(), static_cast<uint32_t>(strlen(request.get()))) != 0)
        return 0;
    request.reset();
    reply_text reply;
    if (request_answer(&reply) == request_answered)
        reply_print(reply);
    return 0;
}
