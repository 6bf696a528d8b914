// Words of a command line, the codes inside quotes and key values, and the
// removal of quotes, against the same rules written down once more.
#include <vector>

#include "base/args.h"
#include "schema/masking.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace
{

const std::string cutting = " []=,";
const std::string cutting_codes = "\x03\x0b\x0c\x0d\x0e";

bool holds_code(const std::string &text)
{
    return text.find_first_of(cutting_codes + "\x01\x02") != std::string::npos;
}

// Calls change(from, to) for the inside of each quoted section.
template <class Change>
void in_quotes(const std::string &text, Change change)
{
    for (size_t at = 0; (at = text.find_first_of("\"'", at)) != std::string::npos;) {
        const size_t close = text.find(text[at], at + 1);
        if (close == std::string::npos)
            return;
        change(at + 1, close);
        at = close + 1;
    }
}

std::string coded(std::string text)
{
    in_quotes(text, [&text](size_t from, size_t to) {
        for (; from < to; from++) {
            const size_t which = cutting.find(text[from]);
            if (which != std::string::npos)
                text[from] = cutting_codes[which];
        }
    });
    return text;
}

std::vector<std::string> split_by_hand(std::string line)
{
    for (char &byte : line) {
        if (byte == '\n' || byte == '\t')
            byte = ' ';
    }
    std::vector<std::string> words;
    std::string word;
    for (const char byte : coded(line) + " ") {
        if (byte != ' ') {
            word += byte;
        } else if (!word.empty()) {
            words.push_back(word);
            word.clear();
        }
    }
    return words;
}

std::string without_quotes(const std::string &text)
{
    std::string result;
    size_t copied = 0;
    in_quotes(text, [&](size_t from, size_t to) {
        const std::string inside = text.substr(from, to - from);
        const bool cuts = inside.find_first_of(cutting) != std::string::npos;
        result += text.substr(copied, from - 1 - copied);
        result += cuts ? inside : text.substr(from - 1, to + 1 - (from - 1));
        copied = to + 1;
    });
    return result + text.substr(copied);
}

void check_splitting(const std::string &line)
{
    const fuzz_block block = fuzz_text(line);
    const arg_words words(block.get());
    const std::vector<std::string> wanted = split_by_hand(line);
    fuzz_require(words.argc == static_cast<int>(wanted.size()), "as many words");
    for (size_t i = 0; i < wanted.size(); i++)
        fuzz_require_equal(words.argv[i], wanted[i], "the same word");
    fuzz_require(wanted.empty() || words.argv[wanted.size()] == nullptr, "null ends the words");
}

void check_masking(const std::string &text)
{
    const fuzz_block once = fuzz_text(text);
    mask_path(once.get());
    const fuzz_block twice = fuzz_text(once.get());
    mask_path(twice.get());
    fuzz_require_equal(twice.get(), once.get(), "masking masked text changes nothing");
    fuzz_require(strlen(once.get()) == text.size(), "masking never moves text");
    const heap_text back = unmasked_copy(once.get());
    make_plain(once.get());
    if (!holds_code(text)) {
        fuzz_require_equal(back.get(), text, "unmasking gives the text back");
        fuzz_require_equal(once.get(), without_quotes(text),
                           "a plain value is the text without its quotes");
    }
    fuzz_require(!holds_code(back.get()), "no code is left in unmasked text");
}

void check_quotes(const std::string &text)
{
    const fuzz_block block = fuzz_text(text);
    mask_quoted_blanks(block.get());
    std::string wanted = text;
    in_quotes(text, [&wanted](size_t from, size_t to) {
        for (; from < to; from++)
            wanted[from] = wanted[from] == ' ' ? '\x03' : wanted[from];
    });
    fuzz_require_equal(block.get(), wanted, "blanks in quotes are masked");
}

// A value from the server, put into a path and read again.
void check_value(const std::string &value)
{
    if (holds_code(value))
        return;
    const heap_text quoted = quote_value(value.c_str());
    const std::string masked = quoted.get();
    fuzz_require(masked.find_first_of(cutting + "/:") == std::string::npos,
                 "nothing in a quoted value cuts a path");
    const char *quote = value.find('"') != std::string::npos ? "'" : "\"";
    const bool needs_quotes = value.find_first_of(cutting) != std::string::npos;
    fuzz_require_equal(unmasked_copy(quoted.get()).get(),
                       needs_quotes ? quote + value + quote : value,
                       "a quoted value is the value in quotes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text = fuzz_input(data, size).text_rest();
    check_splitting(text);
    check_masking(text);
    check_quotes(text);
    check_value(text);
    return 0;
}
