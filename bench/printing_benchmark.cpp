// What it costs to print a reply, and to lay out a listing.
#include <iostream>
#include <stdio.h>

#include "base/columns.h"
#include "bench/support/measured.h"
#include "link/xml_print.h"

namespace
{

// Standard output leads nowhere while a benchmark prints.
void print_to_nowhere()
{
    must(freopen("/dev/null", "w", stdout) != nullptr);
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
        must(listing_start() == 0);
        for (int64_t i = 0; i < state.range(0); i++) {
            const std::string name = "node" + std::to_string(i * 7919 % state.range(0));
            must(listing_add(name.c_str(), 1) == 0);
        }
        listing_print();
        listing_free();
    }
    count_items(state);
}

BENCHMARK(print_reply)->Apply(sizes_up_to<1000000>);
BENCHMARK(list_nodes)->Apply(sizes_up_to<100000>);

} // namespace

// The figures go to standard error: standard output is what is measured.
int main(int argc, char **argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
    reporter.SetOutputStream(&std::cerr);
    reporter.SetErrorStream(&std::cerr);
    print_to_nowhere();
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}
