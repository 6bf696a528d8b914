// The elements at a path, found in a text and in a document.
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/selected.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text = fuzz_input(data, size).rest();
    fuzz_require(selected_rightly(selected(text), selected_in_document(text)),
                 "what is selected is what the document has");
    return 0;
}
