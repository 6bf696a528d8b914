// What it costs to draw a line of so many bytes, in 80 columns.
#include "bench/support/edited_line.h"
#include "tinyrl/editor.h"

namespace
{

// A byte comes and goes at this place, and the line is drawn both times.
void draw_change(benchmark::State &state, size_t place)
{
    while_editing(repeated("x", state.range(0)), [&](tinyrl *editor) {
        for ([[maybe_unused]] auto turn : state) {
            editor->point = place;
            must(tinyrl_insert_text(editor, "y", 1));
            tinyrl_redisplay(editor);
            tinyrl_delete_text(editor, place, place);
            tinyrl_redisplay(editor);
        }
    });
    count_bytes(state);
}

void draw_change_at_end(benchmark::State &state)
{
    draw_change(state, static_cast<size_t>(state.range(0)));
}

void draw_change_at_start(benchmark::State &state)
{
    draw_change(state, 0);
}

// As after a notification.
void draw_anew(benchmark::State &state)
{
    while_editing(repeated("x", state.range(0)), [&](tinyrl *editor) {
        for ([[maybe_unused]] auto turn : state)
            tinyrl_reset_line_state(editor);
    });
    count_bytes(state);
}

BENCHMARK(draw_change_at_end)->Apply(sizes_up_to<100000>)->Unit(benchmark::kMicrosecond);
BENCHMARK(draw_change_at_start)->Apply(sizes_up_to<100000>)->Unit(benchmark::kMicrosecond);
BENCHMARK(draw_anew)->Apply(sizes_up_to<100000>)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
