#include "commands/commands.h"

#include <stdio.h>
#include <string.h>

#include "base/args.h"
#include "base/escape.h"
#include "base/log.h"
#include "base/session.h"
#include "base/text.h"
#include "browse/read_requests.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/tree.h"
#include "cmdtree/xml_writer.h"
#include "commands/operand.h"
#include "commands/staging.h"
#include "link/request.h"
#include "schema/command_reads.h"
#include "schema/masking.h"
#include "schema/place.h"

namespace
{

const char get_config_usage[] = "please input : get-config -r|-s path or get-config -l [path]\r";

// Sends a request and prints the reply.
request_result exchange_read(text_buffer request)
{
    command_reads_forget();
    unmask_keys(request.data.get());
    reply_text reply;
    const request_result result = request_exchange(&request, &reply);
    if (result == request_answered)
        reply_print(reply);
    return result;
}

void exchange_get(text_buffer request)
{
    if (request.data)
        exchange_read(std::move(request));
    else
        log_error("[ERROR] failed to build netconf get msg!\n");
}

void exchange_get_config(text_buffer request)
{
    if (!request.data) {
        puts("fail !!\r");
        return;
    }
    const request_result result = exchange_read(std::move(request));
    if (result == request_unsent)
        puts("send error!\r");
    else if (result == request_unanswered)
        puts("recv error!\r");
}

void get_config_from(read_source source, char *argument)
{
    place at = place_of(argument);
    if (!place_is_known(at))
        print_error_parameter(argument);
    else if (!place_is_config(at))
        print_not_config_node(at.path.get());
    else
        exchange_get_config(build_get_config(at.path.get(), source));
}

// Prints one chunk as plain text: entities, and the bytes that stand for
// others, appear as their characters.
int print_chunk(std::string_view chunk)
{
    const heap_text text = text_copy(chunk);
    const secret_block plain(text_copy(chunk).release(), chunk.size() + 1); // longer than its text
    if (!text || plain.data == nullptr) {
        log_error("[ERROR] cmdtree2netconf malloc error \r\n\n");
        return -1;
    }
    unmask_keys(text.get());
    escape_text(plain.data, text.get(), static_cast<long>(chunk.size()), escape_mode_unescape);
    args_restore(plain.data);
    puts(plain.data);
    return 0;
}

void print_staged(const cmd_node *node)
{
    if (tree_to_xml(node, path_scope_session) != 0) {
        log_error("[ERROR] cmdtree2netconf error \r\n\n");
        return;
    }
    pool_for_each(print_chunk);
    pool_release();
}

void get_config_local(char *argument)
{
    if (session.oneshot != 0) {
        puts("irreciprocal mode unsupport get-config -l [path].\r");
        return;
    }
    const command_tree *tree = staged_tree();
    const cmd_node *node = tree->root;
    if (argument != nullptr) {
        const heap_text path = path_absolute(argument);
        node = path ? tree_find_staged(tree, path.get()) : nullptr;
        if (node == nullptr) {
            unmask_all(argument);
            printf("%s not exist in local configuration buffer \r\n", argument);
            return;
        }
    }
    if (node != nullptr)
        print_staged(node);
}

} // namespace

int cmd_get(const char *line)
{
    if (session.rpc_path != nullptr) {
        puts("rpc mode not support get operation\r");
        return 0;
    }
    const arg_words words(line);
    if (words.argc != 2) {
        printf("error command, please use:get path\r\n ");
        return 0;
    }
    place at = place_of(words.argv[1]);
    if (!place_is_known(at))
        print_error_parameter(words.argv[1]);
    else if (!at.record)
        print_not_config_node(at.path.get());
    else
        exchange_get(build_get(at.path.get()));
    return 0;
}

int cmd_get_config(const char *line)
{
    staged_restore();
    const arg_words words(line);
    const char *option = words.argc == 2 || words.argc == 3 ? words.argv[1] : "";
    char *argument = words.argc == 3 ? words.argv[2] : nullptr;
    const bool is_running = strcmp(option, "-r") == 0;
    if (strcmp(option, "-l") == 0)
        get_config_local(argument);
    else if (argument == nullptr || (!is_running && strcmp(option, "-s") != 0))
        puts(get_config_usage);
    else if (session.rpc_path != nullptr)
        puts(is_running ? "rpc mode not support get-config -r operation\r"
                        : "rpc mode not support get-config -s operation\r");
    else
        get_config_from(is_running ? read_source_running : read_source_startup, argument);
    return 0;
}
