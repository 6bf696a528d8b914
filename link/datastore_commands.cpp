#include "link/datastore_commands.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bounded.h"
#include "link/copy_config.h"
#include "link/exchange.h"
#include "link/xml_print.h"
#include "shell/args.h"
#include "shell/log.h"
#include "shell/session.h"
#include "shell/text.h"

namespace
{

constexpr size_t request_size = 512;

bool is_one_of(const char *word, std::initializer_list<std::string_view> names)
{
    for (const std::string_view name : names) {
        if (name == word)
            return true;
    }
    return false;
}

// Reads the reply and prints it below an empty line; 0 or -1.
int print_reply()
{
    char *reply = nullptr;
    uint32_t length = 0;
    if (msg_wait_reply(&reply, &length) != 0)
        return -1;
    const malloc_ptr<char> owned_reply(reply);
    puts("\r");
    xml_print(reply);
    return 0;
}

} // namespace

int cmd_copy_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 3) {
        puts("please input : copy-config source target\r");
        return 0;
    }
    const char *source = words.argv[1];
    const char *target = words.argv[2];
    if (!is_one_of(source, {"startup", "running", "candidate", "config"})) {
        puts("Please input correct source database (startup | running | candidate | config).\r");
        return 0;
    }
    if (!is_one_of(target, {"startup", "running", "candidate"})) {
        puts("Please input correct target database (startup | running | candidate).\r");
        return 0;
    }
    if (strcmp(source, target) == 0) {
        puts("target and source can't be same.\r");
        return 0;
    }
    log_debug("[DEBUG] source: %s\n\n", source);
    log_debug("[DEBUG] target: %s\n\n", target);
    copy_config(source, datastore_code(source), nullptr, target, datastore_code(target));
    return 0;
}

int cmd_delete_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1) {
        printf("error command, please use:delete-config\r\n ");
        return 0;
    }
    heap_text request(static_cast<char *>(calloc(1, request_size)));
    if (!request) {
        puts("delete config cmd buf malloc fail.\r");
        return 0;
    }
    const int length =
        sprintf_s(request.get(), request_size,
                  "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"%d\">\r\n"
                  "  <delete-config>\r\n"
                  "    <target>\r\n"
                  "      <startup/>\r\n"
                  "    </target>\r\n"
                  "  </delete-config>\r\n"
                  "</rpc>\r\n",
                  static_cast<int>(session.message_id));
    session.message_id++;
    // This request alone travels without the zero byte behind its text.
    if (length <= 0 || msg_send(request.get(), static_cast<uint32_t>(length)) != 0)
        return 0;
    request.reset();
    print_reply();
    return 0;
}

int cmd_save(const char *line)
{
    const arg_words words(line);
    if (words.argc != 1) {
        puts("error command, please use:save (no param)\r");
        return 0;
    }
    char request[request_size];
    const int length =
        sprintf_s(request, sizeof request,
                  "<rpc xmlns =\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id =\"%d\">\r\n"
                  "  <copy-config>\r\n"
                  "    <target>\r\n"
                  "      <startup/>\r\n"
                  "    </target>\r\n"
                  "    <error-option>rollback-on-error</error-option>\r\n"
                  "    <source>\r\n"
                  "      <running/>\r\n"
                  "    </source>\r\n"
                  "  </copy-config>\r\n"
                  "</rpc>\r\n",
                  static_cast<int>(session.message_id));
    session.message_id++;
    if (length < 0)
        return 0;
    if (msg_send(request, static_cast<uint32_t>(length) + 1) != 0)
        printf("The save command send message fail! ");
    else if (print_reply() != 0)
        printf("Get the reply message of save command is fail! ");
    return 0;
}
