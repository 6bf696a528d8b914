// What adapters write anew: of a well-formed request or reply comes a well-formed one, of which
// nothing is left to be written anew. An edit means the same with tags that were joined.
//
// Input: the request in one line, then the reply.
#include <libxml/c14n.h>

#include "device/gateway/adapters/adapter.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_xml.h"

namespace
{

byte_buffer buffer_of(const std::string &text)
{
    byte_buffer buffer = {};
    fuzz_require(byte_buffer_append(&buffer, text.data(), text.size(), text.size()) == buffer_ok,
                 "the message fits");
    return buffer;
}

std::string rewritten(const adapter *adapter, const server_hello *hello, const std::string &text)
{
    byte_buffer buffer = buffer_of(text);
    const message_head head = message_head_read(text);
    exchange taken = {};
    taken.server = hello;
    fuzz_require(adapter->request(&taken, &head, &buffer) != adapter_takes, "it only rewrites");
    return std::string(byte_buffer_view(&buffer));
}

std::string plain(const std::string &text)
{
    byte_buffer buffer = buffer_of(text);
    const message_head head = message_head_read(text);
    plain_data_adapter.message(nullptr, &head, &buffer);
    return std::string(byte_buffer_view(&buffer));
}

// The text in the one way that all texts of its meaning have; empty: it has none.
std::string canonical(const std::string &text)
{
    const fuzz_document document = fuzz_xml_parse(text);
    xmlChar *bytes = nullptr;
    const int size = document == nullptr
                         ? -1
                         : xmlC14NDocDumpMemory(document.get(), nullptr, XML_C14N_EXCLUSIVE_1_0,
                                                nullptr, 1, &bytes);
    std::string result;
    if (size > 0)
        result.assign(reinterpret_cast<const char *>(bytes), static_cast<size_t>(size));
    xmlFree(bytes);
    return result;
}

const server_hello *hello_with_modules()
{
    static server_hello hello = {};
    if (server_modules_empty(&hello.modules)) {
        fuzz_require(server_modules_add(&hello.modules, "mod", "urn:m&m") == 0, "there is memory");
        fuzz_require(server_modules_add(&hello.modules, "a", "urn:a") == 0, "there is memory");
        server_modules_sort(&hello.modules);
        hello.wanted.defaults = defaults_mode_find("trim");
        hello.defaults_modes = hello.wanted.defaults->bit;
    }
    return &hello;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const std::string request = input.line();
    const std::string reply = input.rest();
    const server_hello *hello = hello_with_modules();
    for (const adapter *each : {&empty_element_adapter, &module_prefixes_adapter,
                                &edit_option_adapter, &with_defaults_adapter}) {
        const std::string once = rewritten(each, hello, request);
        const bool good = fuzz_xml_parse(request) != nullptr;
        fuzz_require(!good || fuzz_xml_parse(once), "a request stays well-formed");
        if (good && each == &empty_element_adapter)
            fuzz_require_equal(canonical(once), canonical(request), "it means the same");
        if (good && each != &edit_option_adapter)
            fuzz_require_equal(rewritten(each, hello, once), once, "nothing is left to do");
    }
    const std::string written = plain(reply);
    const bool good_reply = fuzz_xml_parse(reply) != nullptr;
    fuzz_require(!good_reply || fuzz_xml_parse(written), "a reply stays well-formed");
    if (good_reply)
        fuzz_require_equal(plain(written), written, "nothing is left to do");
    return 0;
}
