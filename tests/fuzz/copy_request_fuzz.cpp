// A shell's copy-config that becomes an edit-config: of well-formed messages
// comes a well-formed message, whatever else they are, and a configuration is
// the same as itself.
//
// Input: the request in one line, the reply with startup in the next, then the
// reply with running.
#include "device/gateway/adapters/adapter.h"
#include "device/gateway/running_copy.h"
#include "device/gateway/running_edit.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_xml.h"

namespace
{

std::string cleaned(const std::string &request)
{
    byte_buffer buffer = {};
    const fuzz_block block = fuzz_bytes(request);
    fuzz_require(byte_buffer_append(&buffer, block.get(), request.size(), request.size()) ==
                     buffer_ok,
                 "the request fits");
    const message_head head = message_head_read(request);
    copy_option_adapter.request(nullptr, &head, &buffer);
    fuzz_require(buffer.size <= request.size(), "nothing is added");
    return {buffer.data.get(), buffer.size};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const std::string request = input.line();
    const std::string startup = input.line();
    const std::string running = input.rest();
    const bool good_request = fuzz_xml_parse(request) != nullptr;
    const std::string clean = cleaned(request);
    fuzz_require(!good_request || fuzz_xml_parse(clean), "a clean request is well-formed");
    fuzz_require_equal(cleaned(clean), clean, "a clean request stays as it is");
    const fuzz_block blocks[] = {fuzz_bytes(clean), fuzz_bytes(startup), fuzz_bytes(running)};
    byte_buffer edit = {};
    running_copy copy;
    const bool is_copy = running_copy_read({blocks[0].get(), clean.size()}, &copy);
    const running_source source = {{blocks[0].get(), clean.size()},
                                   {blocks[1].get(), startup.size()}};
    const bool again = running.size() % 2 == 1;
    const char *reason =
        running_edit_write(&source, {blocks[2].get(), running.size()}, again, &edit);
    fuzz_require(is_copy || reason != nullptr, "what is no copy becomes no edit");
    if (reason != nullptr)
        return 0;
    std::string_view name;
    fuzz_require(running_edit_check(&source, {blocks[2].get(), running.size()}, &name) == nullptr,
                 "what becomes an edit can be compared");
    if (copy.from_startup && startup == running)
        fuzz_require(name.empty(), "running is the same as itself");
    const bool good_source = !copy.from_startup || fuzz_xml_parse(startup);
    if (good_request && good_source && fuzz_xml_parse(running)) {
        const std::string text(edit.data.get(), edit.size);
        fuzz_require(fuzz_xml_parse(text) != nullptr, "an edit is well-formed");
    }
    return 0;
}
