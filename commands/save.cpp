// The command save: running becomes startup.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/text.h"
#include "format/namespaces.h"
#include "link/request.h"

int cmd_save(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1) {
        puts("error command, please use:save (no param)\r");
        return 0;
    }
    text_buffer request;
    if (request_begin(&request, "<rpc xmlns =\"" NETCONF_BASE_NAMESPACE "\" message-id =\"") != 0 ||
        text_append(&request, "  <copy-config>\r\n"
                              "    <target>\r\n"
                              "      <startup/>\r\n"
                              "    </target>\r\n"
                              "    <error-option>rollback-on-error</error-option>\r\n"
                              "    <source>\r\n"
                              "      <running/>\r\n"
                              "    </source>\r\n"
                              "  </copy-config>\r\n"
                              "</rpc>\r\n") != 0)
        return 0;
    reply_text reply;
    const request_result result = request_exchange(&request, &reply);
    if (result == request_unsent)
        printf("The save command send message fail! ");
    else if (result == request_unanswered)
        printf("Get the reply message of save command is fail! ");
    else
        reply_print(reply);
    return 0;
}
