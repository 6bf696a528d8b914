// The command export-config: the data of a datastore into a file.
#include "commands/commands.h"

#include <stdio.h>

#include "base/args.h"
#include "base/text.h"
#include "commands/copy_request.h"
#include "commands/export_file.h"
#include "link/request.h"

namespace
{

constexpr std::string_view data_open = "<data>";
constexpr std::string_view data_close = "</data>";
constexpr std::string_view file_head = "<?xml version='1.0' encoding='UTF-8'?>";

// Asks for the whole datastore; 0 with the reply, or -1 with a message where
// one is due.
int read_datastore(const char *source, reply_text *reply)
{
    text_buffer request;
    if (request_begin(&request) != 0 || text_append_all(&request, {"  <get-config>\r\n"
                                                                   "    <source>\r\n"
                                                                   "      <",
                                                                   source,
                                                                   "/>\r\n"
                                                                   "    </source>\r\n"
                                                                   "  </get-config>\r\n"
                                                                   "</rpc>\r\n"}) != 0) {
        puts("export get config buf malloc fail.\r");
        return -1;
    }
    const request_result result = request_exchange(&request, reply);
    if (result == request_unsent)
        puts("send get-config message fail.\r");
    return result == request_answered ? 0 : -1;
}

// Writes the section to the file; 0 or -1.
int write_export(const char *path, std::string_view section)
{
    const heap_text text = text_concat({file_head, section});
    if (!text) {
        puts("write_buf malloc error.\r");
        return -1;
    }
    return export_file_write(path, {text.get(), file_head.size() + section.size()});
}

int export_data(const char *path, std::string_view reply)
{
    const size_t start = reply.find(data_open);
    const size_t end = reply.rfind(data_close);
    if (start == std::string_view::npos || end == std::string_view::npos || end < start) {
        puts("no config data to export.\r");
        return -1;
    }
    const std::string_view section = text_slice(reply, start, end + data_close.size() - start);
    if (section.size() == data_open.size() + data_close.size()) {
        puts("no config data to export.\r");
        return 0;
    }
    return write_export(path, section);
}

int export_config(const char *source, const char *path)
{
    reply_text reply;
    if (read_datastore(source, &reply) != 0)
        return -1;
    if (export_data(path, reply.text.get()) == 0)
        return 0;
    puts("write config file fail.\r");
    return -1;
}

} // namespace

int cmd_export_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 3) {
        puts("please input : export-config source dir(file path)\r");
        return 0;
    }
    char *path = words.argv[2];
    args_restore(path);
    if (!is_stored_datastore(words.argv[1])) {
        puts("input source is error,should be running or startup.\r");
        return 0;
    }
    if (export_file_clear(path) != 0)
        return 0;
    if (export_config(words.argv[1], path) != 0)
        puts("export config fail.\r");
    else
        printf("The export-config command executed successfuly! ");
    return 0;
}
