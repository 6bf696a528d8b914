// The command delete-config: startup is emptied.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/text.h"
#include "link/request.h"

int cmd_delete_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1) {
        printf("error command, please use:delete-config\r\n ");
        return 0;
    }
    text_buffer request;
    if (request_begin(&request) != 0 || text_append(&request, "  <delete-config>\r\n"
                                                              "    <target>\r\n"
                                                              "      <startup/>\r\n"
                                                              "    </target>\r\n"
                                                              "  </delete-config>\r\n"
                                                              "</rpc>\r\n") != 0) {
        puts("delete config cmd buf malloc fail.\r");
        return 0;
    }
    reply_text reply;
    // This request alone travels without the zero byte after its text.
    if (request_exchange(&request, &reply, frame_ends_in_text) == request_answered)
        reply_print(reply);
    return 0;
}
