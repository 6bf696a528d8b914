// What it costs to join words, to split them, and to write values as entities.
//
// The argument is the number of words or bytes; each has to cost the same.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string>
#include <vector>

#include "base/args.h"
#include "base/escape.h"
#include "shell/arguments.h"

namespace
{

std::string repeated(const std::string &piece, int64_t count)
{
    std::string text;
    for (int64_t i = 0; i < count; i++)
        text += piece;
    return text;
}

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
        if (!take_arguments(static_cast<int>(starts.size()), starts.data()))
            std::abort();
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void split_words(benchmark::State &state)
{
    const std::string line = repeated("value 'a b' ", state.range(0) / 2);
    for ([[maybe_unused]] auto turn : state) {
        const arg_words words(line.c_str());
        if (words.argc != state.range(0))
            std::abort();
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// A byte in eight is written as an entity.
void escape_value(benchmark::State &state)
{
    const std::string value = repeated("a < of b", state.range(0) / 8);
    for ([[maybe_unused]] auto turn : state) {
        if (!escape_copy(value.c_str()))
            std::abort();
    }
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void unescape_value(benchmark::State &state)
{
    const std::string value = repeated("of b&lt;", state.range(0) / 8);
    std::string plain(value.size() + 1, '\0');
    for ([[maybe_unused]] auto turn : state)
        escape_text(plain.data(), value.data(), static_cast<long>(value.size()),
                    escape_mode_unescape);
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void sizes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->RangeMultiplier(10)->Range(1000, 1000000)->Complexity();
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(join_words)->Apply(sizes);
BENCHMARK(split_words)->Apply(sizes);
BENCHMARK(escape_value)->Apply(sizes);
BENCHMARK(unescape_value)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
