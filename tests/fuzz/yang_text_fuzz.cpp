// YANG texts through the readers that schemac brings along: statements with
// their lines, places of errors, and texts shown to an operator.
//
// Input: the place that an error names, in one line; then the YANG text.
#include <algorithm>

#include "device/schemac/locate.h"
#include "device/schemac/text_tools.h"
#include "device/schemac/yang_cursor.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace
{

size_t lines_of(const std::string &text)
{
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
}

void check_cursor(const std::string &text)
{
    const fuzz_block block = fuzz_bytes(text);
    yang_cursor cursor = yang_open({block.get(), text.size()});
    yang_statement statement;
    unsigned line = 1;
    size_t left = text.size();
    while (yang_next(&cursor, &statement)) {
        fuzz_require(cursor.rest.size() < left, "each statement takes its bytes");
        fuzz_require(statement.line >= line && statement.line <= lines_of(text),
                     "statements stand one behind the other");
        fuzz_require(statement.argument.size() <= text.size(), "nothing is made up");
        left = cursor.rest.size();
        line = statement.line;
    }
    fuzz_require(cursor.rest.size() <= left, "reading ends with the text");
}

void check_place(const std::string &text, const std::string &path)
{
    source_index index;
    index.sources.push_back(std::make_unique<yang_source>());
    yang_source *source = index.sources.back().get();
    source->name = source->declared_name = "a";
    source->text = text;
    source->is_used = true;
    source->state = source_state::readable;
    source->line = 1;
    const error_place place = locate_error(&index, source, path.c_str());
    fuzz_require(place.source == source, "the place is in the one source there is");
    fuzz_require(place.line <= lines_of(text) || path.compare(0, 12, "Line number ") == 0,
                 "the place is in the text");
}

bool is_control(unsigned char byte)
{
    return byte < ' ' || byte == 0x7f;
}

size_t characters_of(const std::string &text)
{
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
    }));
}

void check_texts(const std::string &text)
{
    const std::string shown = printable_text(text);
    const std::string folded = fold_text(text);
    fuzz_require(std::none_of(shown.begin(), shown.end(), is_control), "nothing a terminal obeys");
    fuzz_require_equal(printable_text(shown), shown, "what is printable stays");
    fuzz_require_equal(fold_text(folded), folded, "what is folded stays");
    fuzz_require(folded.find("  ") == std::string::npos, "no two blanks in a row");
    for (const size_t limit : {0U, 1U, 7U, 200U}) {
        const std::string cut = cut_text(folded, limit);
        fuzz_require(characters_of(cut) <= limit + 1, "a cut text is no longer than it may be");
        fuzz_require_equal(printable_text(cut), cut, "a cut text is cut between characters");
        fuzz_require(characters_of(folded) > limit || cut == folded, "a short text is not cut");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const std::string path = input.text_line();
    const std::string text = input.rest();
    check_cursor(text);
    check_place(text, path);
    check_texts(text);
    return 0;
}
