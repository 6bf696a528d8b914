// What it costs to read a frame, and to make a place of a path.
//
// The argument is the number of bytes, or of levels; each has to cost the same.
#include <malloc.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "bench/support/measured.h"
#include "bench/support/played_session.h"
#include "link/exchange.h"
#include "schema/command_reads.h"
#include "schema/place.h"

namespace
{

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

// Another thread writes: both benchmarks below wait for the same one. What is read
// gets pages of its own each time, as in a shell, whatever its size.
template <class Reader>
void read_frames(benchmark::State &state, Reader read_frame)
{
    must(mallopt(M_MMAP_THRESHOLD, 100000) == 1);
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
    count_bytes(state);
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

// So many levels below a container, each of which the schema has below these nodes.
void make_place(benchmark::State &state, const std::vector<std::pair<const char *, int>> &above)
{
    const played_session played;
    std::string path = "/m/c";
    std::string schema_path = path;
    for (int64_t i = 0; i < state.range(0); i++) {
        for (const auto &[name, kind] : above) {
            fake_redis_put_node(schema_path, name, kind);
            schema_path += std::string("/") + name;
        }
        fake_redis_put_node(schema_path, "c", fake_container);
        schema_path += "/c";
        path += "/c";
    }
    for ([[maybe_unused]] auto turn : state) {
        const command_reads reads;
        must(place_is_known(place_at(path.c_str(), path_scope_configuration)));
        fake_redis_take_asked();
    }
    count_items(state);
}

void make_place_in_containers(benchmark::State &state)
{
    make_place(state, {});
}

void make_place_in_cases(benchmark::State &state)
{
    make_place(state, {{"choice", fake_choice}, {"case", fake_case}});
}

BENCHMARK(receive_frame)->Apply(sizes_up_to<100000000>)->UseRealTime();
BENCHMARK(read_into_a_block)->Apply(sizes_up_to<100000000>)->UseRealTime();
BENCHMARK(make_place_in_containers)->RangeMultiplier(4)->Range(4, 64)->Complexity();
BENCHMARK(make_place_in_cases)->RangeMultiplier(4)->Range(4, 64)->Complexity();

} // namespace

BENCHMARK_MAIN();
