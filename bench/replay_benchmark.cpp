// What it costs to replay a profile of so many lines.
#include "bench/support/measured.h"
#include "bench/support/played_session.h"
#include "cmdtree/tree.h"
#include "profile/profile.h"
#include "tests/support/files.h"
#include "tests/support/private_tmp.h"

namespace
{

void replay_profile(benchmark::State &state)
{
    private_tmp();
    const played_session played;
    std::string lines;
    for (int64_t i = 0; i < state.range(0); i++)
        lines += "set /m/c/l[k=entry" + std::to_string(i) + "]/x value\n";
    write_file("/tmp/vandel.conf",
               "[pwd]\n/\n\n[config]\n" + lines + "\n[rpc]\n\n[rpc_para]\n\n%%%\n");
    for ([[maybe_unused]] auto turn : state) {
        must(profile_load() == profile_replayed);
        must(session.config_tree.root != nullptr);
        tree_free(&session.config_tree);
    }
    count_items(state);
}

BENCHMARK(replay_profile)->Apply(sizes_up_to<100000>);

} // namespace

BENCHMARK_MAIN();
