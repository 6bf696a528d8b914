// What benchmarks of parts have in common.
#pragma once

#include <benchmark/benchmark.h>
#include <stdint.h>
#include <stdlib.h>
#include <string>

// What is measured has to succeed.
inline void must(bool holds)
{
    if (!holds)
        abort();
}

inline std::string repeated(const std::string &piece, int64_t count)
{
    std::string text;
    for (int64_t i = 0; i < count; i++)
        text += piece;
    return text;
}

// The argument is how many items, or bytes, a turn deals with: what one of them takes,
// and how the time grows with their number, is shown.
inline void count_items(benchmark::State &state)
{
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

inline void count_bytes(benchmark::State &state)
{
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// Three sizes up to the largest, and the growth that fits best.
template <int64_t largest>
void sizes_up_to(benchmark::internal::Benchmark *benchmark)
{
    benchmark->RangeMultiplier(10)->Range(largest / 100, largest)->Complexity();
    benchmark->Unit(benchmark::kMillisecond);
}
