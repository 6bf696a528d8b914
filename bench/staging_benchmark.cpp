// What it costs to stage list-entry leaves and to serialise them, and to keep entries.
//
// The argument is the number of leaves, each in an entry of its own. The cost
// of a leaf must not depend on how many are staged already.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string>
#include <vector>

#include "cmdtree/chunk_pool.h"
#include "cmdtree/local_entries.h"
#include "cmdtree/tree.h"
#include "cmdtree/xml_writer.h"
#include "redisapi.h"
#include "tests/support/fake_redis.h"

namespace
{

void load_schema()
{
    fake_redis_reset();
    fake_redis_put_module("m", "urn:m");
    fake_redis_put_node("/m", "c", fake_container);
    fake_redis_put_node("/m/c", "l", fake_list);
    fake_redis_put_node("/m/c/l", "k", fake_leaf);
    fake_redis_put_node("/m/c/l[]", "k", fake_leaf);
    fake_redis_put_node("/m/c/l[]", "x", fake_leaf);
    session.redis = redis_connect();
}

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
    for (const std::string &path : paths) {
        if (tree_stage_config(path.c_str(), "value", operation_set) != 0)
            std::abort();
    }
}

void stage_and_serialise(benchmark::State &state)
{
    load_schema();
    const std::vector<std::string> paths = leaf_paths(state.range(0));
    size_t length = 0;
    for ([[maybe_unused]] auto turn : state) {
        stage_all(paths);
        if (tree_to_xml(session.config_tree.root, path_scope_configuration) != 0)
            std::abort();
        length = pool_text_length();
        pool_release();
        tree_free(&session.config_tree);
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
    state.counters["xml_bytes"] = static_cast<double>(length);
    redis_freeconn(session.redis);
    session.redis = nullptr;
}

// The values of one leaf-list hang in one node.
void stage_leaf_list(benchmark::State &state)
{
    load_schema();
    fake_redis_put_node("/m/c", "ll", fake_leaf_list);
    for ([[maybe_unused]] auto turn : state) {
        for (int64_t i = 0; i < state.range(0); i++) {
            const std::string value = std::to_string(i);
            if (tree_stage_config("/m/c/ll", value.c_str(), operation_set) != 0)
                std::abort();
        }
        tree_free(&session.config_tree);
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
    redis_freeconn(session.redis);
    session.redis = nullptr;
}

// Entries of one list, forgotten one by one, the oldest first.
void stage_local_entries(benchmark::State &state)
{
    std::vector<std::string> keys;
    for (int64_t i = 0; i < state.range(0); i++)
        keys.push_back("l[k=entry" + std::to_string(i) + "]");
    for ([[maybe_unused]] auto turn : state) {
        for (const std::string &key : keys) {
            if (local_entries_add("/m/c/l", key.c_str()) != 0)
                std::abort();
        }
        for (const std::string &key : keys)
            local_entries_forget("/m/c/l", key.c_str());
        local_entries_forget(nullptr, nullptr);
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

// Lists of one entry, forgotten one by one.
void stage_local_lists(benchmark::State &state)
{
    std::vector<std::string> parents;
    for (int64_t i = 0; i < state.range(0); i++)
        parents.push_back("/m/c/c" + std::to_string(i));
    for ([[maybe_unused]] auto turn : state) {
        for (const std::string &parent : parents) {
            if (local_entries_add((parent + "/l").c_str(), "l[k=1]") != 0)
                std::abort();
        }
        for (const std::string &parent : parents)
            local_entries_forget(parent.c_str(), nullptr);
        local_entries_forget(nullptr, nullptr);
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void sizes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->RangeMultiplier(10)->Range(1000, 100000)->Complexity(benchmark::oN);
    benchmark->Unit(benchmark::kMillisecond);
}

BENCHMARK(stage_and_serialise)->Apply(sizes);
BENCHMARK(stage_leaf_list)->Apply(sizes);
BENCHMARK(stage_local_entries)->Apply(sizes);
BENCHMARK(stage_local_lists)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
