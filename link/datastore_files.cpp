// The commands export-config and import-config: the data of a datastore to a
// file and back.
#include "link/datastore_commands.h"

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "bounded.h"
#include "link/copy_config.h"
#include "link/exchange.h"
#include "link/export_file.h"
#include "shell/args.h"
#include "shell/log.h"
#include "shell/session.h"
#include "shell/text.h"

namespace
{

constexpr size_t request_size = 1024;
constexpr std::string_view data_open = "<data>";
constexpr std::string_view data_close = "</data>";
constexpr std::string_view file_head = "<?xml version='1.0' encoding='UTF-8'?>";

bool is_running_or_startup(const char *word)
{
    return strcmp(word, "running") == 0 || strcmp(word, "startup") == 0;
}

// A descriptor that is closed at the end of its scope.
struct open_descriptor {
    int fd;
    explicit open_descriptor(int descriptor) : fd(descriptor) {}
    ~open_descriptor()
    {
        if (fd >= 0)
            close(fd);
    }
    open_descriptor(const open_descriptor &) = delete;
    open_descriptor &operator=(const open_descriptor &) = delete;
};

// Asks for the whole datastore; 0 with the reply, or -1 with a message where
// one is due.
int read_datastore(const char *source, malloc_ptr<char> *reply)
{
    heap_text request(static_cast<char *>(calloc(1, request_size)));
    if (!request) {
        puts("export get config buf malloc fail.\r");
        return -1;
    }
    const int length =
        sprintf_s(request.get(), request_size,
                  "<rpc xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"%d\">\r\n"
                  "  <get-config>\r\n"
                  "    <source>\r\n"
                  "      <%s/>\r\n"
                  "    </source>\r\n"
                  "  </get-config>\r\n"
                  "</rpc>\r\n",
                  static_cast<int>(session.message_id), source);
    session.message_id++;
    if (length < 0)
        return -1;
    if (msg_send_text(std::move(request)) != 0) {
        puts("send get-config message fail.\r");
        return -1;
    }
    char *received = nullptr;
    uint32_t received_length = 0;
    if (msg_wait_reply(&received, &received_length) != 0)
        return -1;
    reply->reset(received);
    return 0;
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
    const std::string_view section = reply.substr(start, end + data_close.size() - start);
    if (section.size() == data_open.size() + data_close.size()) {
        puts("no config data to export.\r");
        return 0;
    }
    return write_export(path, section);
}

int export_config(const char *source, const char *path)
{
    malloc_ptr<char> reply;
    if (read_datastore(source, &reply) != 0)
        return -1;
    if (export_data(path, reply.get()) == 0)
        return 0;
    puts("write config file fail.\r");
    return -1;
}

// Reads up to size bytes of a file into the room of a buffer; 0 or -1.
int read_file(int fd, size_t size, text_buffer *content)
{
    while (content->length < size) {
        const ssize_t got = read(fd, content->data.get() + content->length, size - content->length);
        if (got < 0)
            return -1;
        if (got == 0)
            return 0;
        content->length += static_cast<size_t>(got);
    }
    return 0;
}

// Reads the file into a buffer in which the request for it has room, too; 0 or -1
// with a message.
int load_file(const char *path, text_buffer *content)
{
    // No link and no FIFO: the handler has looked, but somebody may be quicker.
    const open_descriptor file(open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (file.fd < 0) {
        log_error("[ERROR] Opening input file failed.\r\n\n");
        return -1;
    }
    struct stat status = {};
    if (fstat(file.fd, &status) != 0) {
        log_error("[ERROR] Unable to get input file information.\n\n");
        return -1;
    }
    if (status.st_size == 0) {
        log_error("[ERROR] input file is EMPTY.\n\n");
        printf("warning:input file is EMPTY.");
        return -1;
    }
    const uint64_t told = static_cast<uint64_t>(status.st_size);
    const size_t size = told < SIZE_MAX ? static_cast<size_t>(told) : SIZE_MAX;
    if (text_reserve(content, {size, copy_config_room}) != 0) {
        log_error("[ERROR] data malloc fail.\n");
        return -1;
    }
    // Read, not mapped: a file that is cut short meanwhile must not end the shell.
    if (read_file(file.fd, size, content) == 0)
        return 0;
    log_error("[ERROR] mmap err.\n\n");
    return -1;
}

// Cuts the file down to what stands between the tags, up to a zero byte in it;
// 0 or -1 with a message.
int keep_data(text_buffer *content)
{
    std::string_view text(content->data.get(), content->length);
    const size_t open_tag = text.find(data_open);
    if (open_tag == std::string_view::npos) {
        puts("the file have no <data>.\r");
        return -1;
    }
    const size_t start = open_tag + data_open.size();
    text.remove_prefix(start);
    const size_t close_tag = text.rfind(data_close);
    if (close_tag == std::string_view::npos) {
        puts("the file have no </data>.\r");
        return -1;
    }
    text = text.substr(0, close_tag);
    text_keep(content, start, text.substr(0, text.find('\0')).size());
    return 0;
}

void import_config(const char *path, const char *target)
{
    text_buffer content;
    if (load_file(path, &content) == 0 && keep_data(&content) == 0)
        copy_config("config", datastore_config, &content, target, datastore_code(target));
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
    if (!is_running_or_startup(words.argv[1])) {
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

int cmd_import_config(const char *line)
{
    const arg_words words(line);
    if (words.argc != 3) {
        puts("please input : import-config file target\r");
        return 0;
    }
    char *path = words.argv[1];
    args_restore(path);
    if (!is_running_or_startup(words.argv[2])) {
        puts("input target is error,should be running or startup.\r");
        return 0;
    }
    struct stat status = {};
    if (lstat(path, &status) != 0)
        puts("can't get file infomation.\r");
    else if (!S_ISREG(status.st_mode))
        puts("can't find the file \r");
    else
        import_config(path, words.argv[2]);
    return 0;
}
