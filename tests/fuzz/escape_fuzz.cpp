// Escaping and unescaping of values.
#include "base/escape.h"

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace
{

std::string escaped_by_hand(const std::string &text)
{
    std::string result;
    for (const char byte : text) {
        switch (byte) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\t':
            result += "&#9;";
            break;
        case '\r':
            result += "&#13;";
            break;
        case '\n':
            result += "&#10;";
            break;
        default:
            result += byte;
        }
    }
    return result;
}

// What escape_text writes for all of source, whose last byte is the last of its
// block, into a block of `room` bytes.
std::string converted(const std::string &source, size_t room, int mode)
{
    const fuzz_block from = fuzz_bytes(source);
    const fuzz_block to(static_cast<char *>(malloc(room)));
    escape_text(to.get(), from.get(), static_cast<long>(source.size()), mode);
    const size_t length = strlen(to.get());
    fuzz_require(length < room, "the result is terminated");
    return {to.get(), length};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text = fuzz_input(data, size).text_rest();
    const std::string wanted = escaped_by_hand(text);
    const std::string escaped = converted(text, wanted.size() + 1, escape_mode_escape);
    fuzz_require_equal(escaped, wanted, "each special byte becomes its entity");
    text_buffer appended;
    fuzz_require(text_append_all(&appended, {"<"}) == 0 &&
                     text_append_escaped(&appended, text) == 0,
                 "there is memory");
    fuzz_require_equal(appended.data.get() + 1, wanted, "what is appended is the same text");
    fuzz_require_equal(converted(escaped, text.size() + 1, escape_mode_unescape), text,
                       "unescaping an escaped text gives it back");
    const std::string plain = converted(text, text.size() + 1, escape_mode_unescape);
    fuzz_require(plain.size() <= text.size(), "unescaping does not lengthen a text");
    return 0;
}
