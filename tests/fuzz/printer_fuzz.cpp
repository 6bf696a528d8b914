// The pretty-printer against one that builds its layout in memory.
#include "link/xml_print.h"

#include <utility>
#include <vector>

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/fuzz_output.h"

namespace
{

constexpr size_t longest_text = 2048; // the layout grows with its square

bool closes(const std::string &text, size_t tag)
{
    return tag + 1 < text.size() && text[tag + 1] == '/';
}

long next_indentation(const std::string &text, size_t previous, size_t next, long indentation)
{
    if (closes(text, previous) && closes(text, next))
        return indentation - 2;
    if (!closes(text, previous) && !closes(text, next))
        return indentation + 2;
    return indentation;
}

std::string blanks(long count)
{
    return count > 0 ? std::string(static_cast<size_t>(count), ' ') : "";
}

std::string laid_out(const std::string &text)
{
    std::string layout;
    long indentation = 0;
    size_t mark = 0;
    size_t at = 0;
    for (size_t end = text.find('>'); end != std::string::npos; end = text.find('>', at)) {
        layout += blanks(indentation) + text.substr(at, end + 1 - at) + "\n";
        at = end + 1;
        while (at < text.size() && text[at] == ' ')
            at++;
        const size_t tag = text.find('<', at);
        if (tag == std::string::npos)
            break;
        if (tag != at) {
            layout += blanks(indentation + 2) + text.substr(at, tag - at) + "\n";
            at = tag;
        }
        indentation = next_indentation(text, mark, at, indentation);
        mark = at;
    }
    return layout;
}

std::string decoded(const std::string &text)
{
    static const std::vector<std::pair<std::string, char>> entities = {
        {"&amp;", '&'}, {"&lt;", '<'},   {"&gt;", '>'},   {"&quot;", '"'},
        {"&#9;", '\t'}, {"&#13;", '\r'}, {"&#10;", '\n'},
    };
    std::string result;
    for (size_t at = 0; at < text.size();) {
        size_t read = 1;
        char character = text[at];
        for (const auto &[entity, meant] : entities) {
            if (text.compare(at, entity.size(), entity) == 0) {
                read = entity.size();
                character = meant;
            }
        }
        result += character;
        at += read;
    }
    return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > longest_text)
        return -1;
    const std::string text = fuzz_input(data, size).text_rest();
    const fuzz_block block = fuzz_text(text);
    fuzz_output output;
    xml_print(block.get());
    fuzz_require_equal(output.text(), decoded(laid_out(text)), "the layout is the reference's");
    return 0;
}
