// What Tab and '?' cost among so many children: finding them in a played database,
// which copies its answer, and listing them.
#include "complete/completion.h"

#include "base/command.h"
#include "bench/support/edited_line.h"
#include "bench/support/played_session.h"
#include "shell/command_table.h"

namespace
{

void strike(benchmark::State &state, tinyrl_key_handler *handler, int key)
{
    const played_session played;
    command_rows_use(command_table);
    for (int64_t i = 0; i < state.range(0); i++)
        fake_redis_put_node("/m/c", "node-" + std::to_string(1000000 + i), fake_leaf);
    // They share no more than what stands there: the line stays as it is.
    while_editing("set m/c/node-1", [&](tinyrl *editor) {
        for ([[maybe_unused]] auto turn : state)
            handler(editor, key);
    });
    count_items(state);
}

void list_children(benchmark::State &state)
{
    strike(state, completion_tab_key, completion_tab);
}

void explain_children(benchmark::State &state)
{
    strike(state, completion_help_key, completion_question_mark);
}

BENCHMARK(list_children)->Apply(sizes_up_to<100000>);
BENCHMARK(explain_children)->Apply(sizes_up_to<100000>);

} // namespace

BENCHMARK_MAIN();
