// Lines that are remembered, and references to them, against a list of lines.
//
// Input: a byte (how many lines are kept, 0 for all), then the lines; the last
// one is a text with references.
#include "tinyrl/history.h"

#include <algorithm>
#include <limits.h>
#include <utility>
#include <vector>

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace
{

struct numbered_lines {
    std::vector<std::pair<unsigned, std::string>> lines;
    unsigned next = 1;
    size_t limit = 0;

    void add(const std::string &line)
    {
        const auto same = std::find_if(lines.begin(), lines.end(),
                                       [&line](const auto &entry) { return entry.second == line; });
        if (same != lines.end())
            lines.erase(same);
        else if (limit > 0 && lines.size() == limit)
            lines.erase(lines.begin());
        lines.emplace_back(next++, line);
    }

    const std::string *find(long long number) const
    {
        for (const auto &[known, line] : lines) {
            if (known == number)
                return &line;
        }
        return nullptr;
    }

    // False: no number stands behind the mark at the front of text.
    bool target(const std::string &text, long long *number) const
    {
        char *end = nullptr;
        *number = -1;
        const long value = strtol(text.c_str() + 1, &end, 10);
        if (text.size() > 1 && text[1] == '!') {
            *number += next;
            return true;
        }
        *number = value < 0 ? static_cast<long long>(next) + value : value;
        return end != text.c_str() + 1;
    }

    std::string expand(std::string text) const
    {
        std::string result;
        while (!text.empty()) {
            const size_t plain = std::min(text.find('!'), text.size());
            result += text.substr(0, plain);
            text.erase(0, plain);
            long long number = 0;
            if (text.empty() || !target(text, &number))
                return result;
            const size_t run = std::min(text.find_first_not_of("!-0123456789"), text.size());
            const std::string *line = find(number);
            result += line != nullptr ? *line : text.substr(0, run);
            result += text.substr(run, 1);
            text.erase(0, run + 1);
        }
        return result;
    }
};

void check_walk(const history *remembered, const numbered_lines &model)
{
    history_iterator iterator = {};
    const history_entry *entry = history_first(remembered, &iterator);
    for (const auto &[number, line] : model.lines) {
        fuzz_require(entry != nullptr && entry->index == number, "the same number");
        fuzz_require_equal(entry->line, line, "the same line");
        fuzz_require(history_get(remembered, number) == entry, "found by its number");
        entry = history_next(&iterator);
    }
    fuzz_require(entry == nullptr, "no more lines");
    entry = history_last(remembered, &iterator);
    for (size_t left = model.lines.size(); left > 0; left--) {
        fuzz_require(entry != nullptr && entry->line == model.lines[left - 1].second, "and back");
        entry = history_previous(&iterator);
    }
    fuzz_require(entry == nullptr, "to the oldest");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    numbered_lines model;
    model.limit = input.byte() % 12;
    history remembered = history_with(model.limit);
    std::string text = input.text_line();
    while (!input.empty()) {
        history_add(&remembered, fuzz_text(text).get());
        model.add(text);
        text = input.text_line();
    }
    check_walk(&remembered, model);
    char *expanded = nullptr;
    history_expand(&remembered, fuzz_text(text).get(), &expanded);
    fuzz_require_equal(expanded, model.expand(text), "references are replaced");
    free(expanded);
    history_clear(&remembered);
    return 0;
}
