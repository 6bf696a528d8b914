// What it costs to read a frame, and to make a place of a path.
//
// The argument is the number of bytes, or of levels; each has to cost the same.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "base/session.h"
#include "link/exchange.h"
#include "redisapi.h"
#include "schema/place.h"
#include "tests/support/fake_redis.h"

namespace
{

void must(bool holds)
{
    if (!holds)
        abort();
}

void write_all(int descriptor, const std::string &text)
{
    for (size_t at = 0; at < text.size();) {
        const ssize_t count = write(descriptor, text.data() + at, text.size() - at);
        must(count > 0);
        at += static_cast<size_t>(count);
    }
}

std::string frame_of(int64_t size)
{
    std::string frame(frame_header_size, '\0');
    frame_header_write(frame.data(), static_cast<uint32_t>(size), 0);
    return frame + std::string(static_cast<size_t>(size), 'x');
}

// Another thread writes: both benchmarks below wait for the same one.
template <class Reader>
void read_frames(benchmark::State &state, Reader read_frame)
{
    const std::string frame = frame_of(state.range(0));
    int ends[2];
    must(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    for ([[maybe_unused]] auto turn : state) {
        std::thread writer([&] { write_all(ends[1], frame); });
        read_frame(ends[0]);
        writer.join();
    }
    close(ends[0]);
    close(ends[1]);
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void receive_frame(benchmark::State &state)
{
    read_frames(state, [](int descriptor) {
        server_fd = descriptor;
        reply_text body;
        must(msg_recv(&body) == 0);
    });
    server_fd = -1;
}

// As fast as it could be: the same bytes into a block of the right size.
void read_into_a_block(benchmark::State &state)
{
    const size_t size = static_cast<size_t>(state.range(0)) + frame_header_size;
    read_frames(state, [size](int descriptor) {
        char *block = static_cast<char *>(malloc(size));
        must(block != nullptr);
        for (size_t at = 0; at < size;) {
            const ssize_t count = read(descriptor, block + at, size - at);
            must(count > 0);
            at += static_cast<size_t>(count);
        }
        benchmark::DoNotOptimize(block);
        free(block);
    });
}

void connect_schema()
{
    fake_redis_reset();
    fake_redis_put_module("m", "urn:m");
    session.redis = redis_connect();
}

void disconnect_schema()
{
    redis_freeconn(session.redis);
    session.redis = nullptr;
}

// A path so many levels deep.
void make_place(benchmark::State &state)
{
    connect_schema();
    std::string path = "/m";
    for (int64_t i = 0; i < state.range(0); i++) {
        fake_redis_put_node(path.c_str(), "c", fake_container);
        path += "/c";
    }
    for ([[maybe_unused]] auto turn : state)
        must(place_is_known(place_at(path.c_str(), path_scope_configuration)));
    state.SetComplexityN(state.range(0));
    disconnect_schema();
}

void bytes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->RangeMultiplier(10)->Range(100000, 100000000)->Complexity(benchmark::oN);
    benchmark->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(receive_frame)->Apply(bytes);
BENCHMARK(read_into_a_block)->Apply(bytes);
BENCHMARK(make_place)->RangeMultiplier(2)->Range(2, 64)->Complexity(benchmark::oN);

} // namespace

BENCHMARK_MAIN();
