// The root of a message, found in passing and in a document.
#include "link/xml_root.h"
#include "link/xpath.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace
{

constexpr char name_space[] = "urn:n";

xml_root_result document_says(const std::string &text)
{
    const xml_doc document = xml_parse(text.data(), text.size());
    ns_list namespaces;
    if (!document || ns_add(&namespaces, "n", name_space) != 0)
        return xml_root_unreadable;
    const xpath_result found(xpath_eval(document.get(), "/n:a", namespaces));
    return found ? xml_root_matches : xml_root_differs;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text = fuzz_input(data, size).rest();
    const fuzz_block block = fuzz_bytes(text);
    fuzz_require(xml_root_find(block.get(), text.size(), "a", name_space) == document_says(text),
                 "the root is found as in a document");
    return 0;
}
