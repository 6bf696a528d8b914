// What it costs to print a reply, and to lay out a listing.
#include <benchmark/benchmark.h>
#include <iostream>
#include <stdio.h>
#include <stdlib.h>
#include <string>

#include "base/columns.h"
#include "link/xml_print.h"

namespace
{

// Standard output leads nowhere while a benchmark prints.
void print_to_nowhere()
{
    if (std::freopen("/dev/null", "w", stdout) == nullptr)
        std::abort();
}

void print_reply(benchmark::State &state)
{
    std::string reply = "<rpc-reply><data>";
    for (int64_t i = 0; i < state.range(0); i++)
        reply += "<entry><name>e" + std::to_string(i) + "</name><text>a &lt; b</text></entry>";
    reply += "</data></rpc-reply>";
    for ([[maybe_unused]] auto turn : state)
        xml_print(reply.c_str());
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * reply.size()));
}

void list_nodes(benchmark::State &state)
{
    for ([[maybe_unused]] auto turn : state) {
        if (listing_start() != 0)
            std::abort();
        for (int64_t i = 0; i < state.range(0); i++) {
            const std::string name = "node" + std::to_string(i * 7919 % state.range(0));
            if (listing_add(name.c_str(), 1) != 0)
                std::abort();
        }
        listing_print();
        listing_free();
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

BENCHMARK(print_reply)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(list_nodes)
    ->RangeMultiplier(10)
    ->Range(100, 100000)
    ->Complexity(benchmark::oNLogN)
    ->Unit(benchmark::kMillisecond);

} // namespace

// The figures go to standard error: standard output is what is measured.
int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::ConsoleReporter reporter;
    reporter.SetOutputStream(&std::cerr);
    reporter.SetErrorStream(&std::cerr);
    print_to_nowhere();
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
