// What it costs to join words, to split them, and to write values as entities.
//
// The argument is the number of words or bytes; each has to cost the same.
#include <vector>

#include "base/args.h"
#include "base/escape.h"
#include "bench/support/measured.h"
#include "shell/arguments.h"

namespace
{

// The words are overwritten when they are taken: they are made anew each time.
void join_words(benchmark::State &state)
{
    const std::string given = repeated(std::string("value") + '\0', state.range(0));
    for ([[maybe_unused]] auto turn : state) {
        state.PauseTiming();
        std::string words = given;
        std::vector<char *> starts;
        for (size_t at = 0; at < words.size(); at += 6)
            starts.push_back(&words[at]);
        state.ResumeTiming();
        must(take_arguments(static_cast<int>(starts.size()), starts.data()) != nullptr);
    }
    count_items(state);
}

void split_words(benchmark::State &state)
{
    const std::string line = repeated("value 'a b' ", state.range(0) / 2);
    for ([[maybe_unused]] auto turn : state) {
        const arg_words words(line.c_str());
        must(words.argc == state.range(0));
    }
    count_items(state);
}

// A byte in eight is written as an entity.
void escape_value(benchmark::State &state)
{
    const std::string value = repeated("a < of b", state.range(0) / 8);
    for ([[maybe_unused]] auto turn : state) {
        text_buffer escaped;
        must(text_append_escaped(&escaped, value) == 0);
    }
    count_bytes(state);
}

void unescape_value(benchmark::State &state)
{
    const std::string value = repeated("of b&lt;", state.range(0) / 8);
    std::string plain(value.size() + 1, '\0');
    for ([[maybe_unused]] auto turn : state)
        escape_text(plain.data(), value.data(), static_cast<long>(value.size()),
                    escape_mode_unescape);
    count_bytes(state);
}

BENCHMARK(join_words)->Apply(sizes_up_to<1000000>);
BENCHMARK(split_words)->Apply(sizes_up_to<1000000>);
BENCHMARK(escape_value)->Apply(sizes_up_to<1000000>);
BENCHMARK(unescape_value)->Apply(sizes_up_to<1000000>);

} // namespace

BENCHMARK_MAIN();
