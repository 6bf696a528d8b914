// What it costs to stage changes, to write them as XML, and to keep entries.
//
// The argument is how many there are; what one costs must not depend on it.
#include <vector>

#include "bench/support/measured.h"
#include "bench/support/played_session.h"
#include "cmdtree/chunk_pool.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "cmdtree/xml_writer.h"
#include "schema/place.h"

namespace
{

// Leaves, each in an entry of its own.
std::vector<std::string> leaf_paths(int64_t count)
{
    std::vector<std::string> paths;
    paths.reserve(static_cast<size_t>(count));
    for (int64_t i = 0; i < count; i++)
        paths.push_back("/m/c/l[k=entry" + std::to_string(i) + "]/x");
    return paths;
}

void stage_all(const std::vector<std::string> &paths)
{
    const place leaf = place_at(paths[0].c_str(), path_scope_configuration);
    for (const std::string &path : paths)
        must(tree_stage(&session.config_tree, path.c_str(), leaf.record.get(), "value",
                        operation_set) == 0);
}

void stage_leaves(benchmark::State &state)
{
    const played_session played;
    const std::vector<std::string> paths = leaf_paths(state.range(0));
    for ([[maybe_unused]] auto turn : state) {
        stage_all(paths);
        tree_free(&session.config_tree);
    }
    count_items(state);
}

// Each is staged already.
void stage_leaves_again(benchmark::State &state)
{
    const played_session played;
    const std::vector<std::string> paths = leaf_paths(state.range(0));
    stage_all(paths);
    for ([[maybe_unused]] auto turn : state)
        stage_all(paths);
    tree_free(&session.config_tree);
    count_items(state);
}

void write_staged_leaves(benchmark::State &state)
{
    const played_session played;
    stage_all(leaf_paths(state.range(0)));
    for ([[maybe_unused]] auto turn : state) {
        must(tree_to_xml(session.config_tree.root, path_scope_configuration) == 0);
        pool_release();
    }
    tree_free(&session.config_tree);
    count_items(state);
}

// The values of one leaf-list hang in one node.
void stage_leaf_list(benchmark::State &state)
{
    const played_session played;
    fake_redis_put_node("/m/c", "ll", fake_leaf_list);
    for ([[maybe_unused]] auto turn : state) {
        for (int64_t i = 0; i < state.range(0); i++)
            must(tree_stage_config("/m/c/ll", std::to_string(i).c_str(), operation_set) == 0);
        tree_free(&session.config_tree);
    }
    count_items(state);
}

// Entries of one list, forgotten one by one, the oldest first.
void stage_local_entries(benchmark::State &state)
{
    std::vector<std::string> keys;
    for (int64_t i = 0; i < state.range(0); i++)
        keys.push_back("l[k=entry" + std::to_string(i) + "]");
    for ([[maybe_unused]] auto turn : state) {
        for (const std::string &key : keys)
            must(local_entries_add("/m/c/l", key.c_str()) == 0);
        for (const std::string &key : keys)
            local_entries_forget("/m/c/l", key.c_str());
        local_entries_forget(nullptr, nullptr);
    }
    count_items(state);
}

// Lists of one entry, forgotten one by one.
void stage_local_lists(benchmark::State &state)
{
    std::vector<std::string> parents;
    for (int64_t i = 0; i < state.range(0); i++)
        parents.push_back("/m/c/c" + std::to_string(i));
    for ([[maybe_unused]] auto turn : state) {
        for (const std::string &parent : parents)
            must(local_entries_add((parent + "/l").c_str(), "l[k=1]") == 0);
        for (const std::string &parent : parents)
            local_entries_forget(parent.c_str(), nullptr);
        local_entries_forget(nullptr, nullptr);
    }
    count_items(state);
}

BENCHMARK(stage_leaves)->Apply(sizes_up_to<100000>);
BENCHMARK(stage_leaves_again)->Apply(sizes_up_to<100000>);
BENCHMARK(write_staged_leaves)->Apply(sizes_up_to<100000>);
BENCHMARK(stage_leaf_list)->Apply(sizes_up_to<100000>);
BENCHMARK(stage_local_entries)->Apply(sizes_up_to<100000>);
BENCHMARK(stage_local_lists)->Apply(sizes_up_to<100000>);

} // namespace

BENCHMARK_MAIN();
