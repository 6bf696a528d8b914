#include "commands/copy_request.h"

#include <stdio.h>
#include <string.h>
#include <utility>

#include "base/log.h"
#include "base/session.h"
#include "base/text.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "cmdtree/xml_writer.h"
#include "link/request.h"
#include "link/xml_print.h"
#include "schema/masking.h"

namespace
{

const char config_close[] = "      </config>\r\n";
const char source_close[] = "    </source>\r\n";
const char request_close[] = "  </copy-config>\r\n</rpc>\r\n";

// The element of a datastore that has a name or a url; 0 or -1.
int fill_datastore(text_buffer *request, const char *word)
{
    if (datastore_code(word) == datastore_url)
        return text_append_all(request, {"      <url>", word, "</url>\r\n"});
    return text_append_all(request, {"      <", word, "/>\r\n"});
}

int fill_target(text_buffer *request, const char *word)
{
    if (datastore_code(word) == datastore_config) {
        printf("type is error");
        return -1;
    }
    if (text_append(request, "    <target>\r\n") == 0 && fill_datastore(request, word) == 0 &&
        text_append(request, "    </target>\r\n") == 0)
        return 0;
    printf("reclloc memery fail.");
    return -1;
}

// The staged configuration, which is dropped once it stands in the request, with
// room for all that comes after it.
int fill_staged(text_buffer *request)
{
    command_tree *tree = &session.config_tree;
    if (tree->root != nullptr && tree_to_xml(tree->root, path_scope_configuration) != 0) {
        log_error("[ERROR] cmdtree to netconf error \r\n\n");
        return -1;
    }
    const size_t body = request->length;
    if (pool_move_to(request, sizeof config_close + sizeof source_close + sizeof request_close) !=
        0) {
        log_error("[ERROR] reclloc memery fail.\n");
        return -1;
    }
    unmask_keys(request->data.get() + body);
    tree_free(tree);
    local_entries_forget(nullptr, nullptr);
    return 0;
}

// A configuration that was read, in whose buffer the request goes on.
int fill_given(text_buffer *request, text_buffer *config)
{
    if (text_prepend(config, {request->data.get(), request->length}) != 0) {
        log_error("[ERROR] reclloc memery fail.\n");
        return -1;
    }
    *request = std::move(*config);
    return 0;
}

int fill_config(text_buffer *request, text_buffer *config)
{
    if (text_append(request, "      <config>\r\n") != 0)
        return -1;
    const int failed = config != nullptr ? fill_given(request, config) : fill_staged(request);
    return failed != 0 ? -1 : text_append(request, config_close);
}

int fill_source(text_buffer *request, const char *word, text_buffer *config)
{
    if (text_append(request, "    <source>\r\n") != 0)
        return -1;
    const int failed = datastore_code(word) == datastore_config ? fill_config(request, config)
                                                                : fill_datastore(request, word);
    return failed != 0 ? -1 : text_append(request, source_close);
}

void exchange_copy(text_buffer *request)
{
    reply_text reply;
    const request_result result = request_exchange(request, &reply);
    if (result == request_unsent)
        puts("send copy-config message fail.\r");
    else if (result == request_unanswered)
        puts("get reply message fail.\r");
    else
        xml_print(reply.text.get());
}

} // namespace

datastore datastore_code(const char *word)
{
    if (word == nullptr)
        return datastore_none;
    constexpr const char *names[] = {"candidate", "running", "startup", "config"};
    unsigned code = datastore_candidate;
    while (code < datastore_url && strcmp(names[code], word) != 0)
        code++;
    return static_cast<datastore>(code);
}

bool is_stored_datastore(const char *word)
{
    return strcmp(word, "running") == 0 || strcmp(word, "startup") == 0;
}

void copy_config(const char *source, text_buffer *config, const char *target)
{
    if (source == nullptr || target == nullptr) {
        log_error("[ERROR] input is null.\r\n\n");
        return;
    }
    text_buffer request;
    if (text_reserve(&request, {1024}) != 0)
        log_error("[ERROR] send buf memery malloc fail.\r\n\n");
    else if (request_begin(&request) != 0 || text_append(&request, "  <copy-config>\r\n") != 0)
        log_error("[ERROR] fill header fail.\r\n\n");
    else if (fill_target(&request, target) != 0 || fill_source(&request, source, config) != 0)
        log_error("[ERROR] fill target fail.\r\n\n");
    else if (text_append(&request, request_close) != 0)
        log_error("[ERROR] fill tail fail.\r\n\n");
    else
        exchange_copy(&request);
}
