// What the shell holds of a request: nothing while the reply is awaited, and of
// a large one little besides the one text before that.
#include "tests/support/alloc_faults.h"

#include <fstream>

#include "link/server_session.h"
#include "link/xml_root.h"
#include "shell/dispatch.h"
#include "tests/support/shell_world.h"

namespace
{

constexpr long large = 1 << 20;
constexpr long little = 512; // less than the buffer of any request

long bytes_at_start = 0;
long most_bytes = 0; // beyond those at the start
bool has_waited = false;
long waiting_bytes = 0; // beyond those at the start, while the reply is awaited

} // namespace

extern "C" {
ssize_t __real_read(int fd, void *into, size_t size);
ssize_t __wrap_read(int fd, void *into, size_t size)
{
    if (fd == server_fd && !has_waited) {
        has_waited = true;
        waiting_bytes = alloc_bytes - bytes_at_start;
    }
    return __real_read(fd, into, size);
}
}

namespace
{

class requests_alloc_test : public shell_world
{
  protected:
    static void SetUpTestSuite()
    {
        private_tmp();
    }

    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
        serve({data_reply("<c/>")});
    }

    static void watch(const std::function<void()> &action)
    {
        bytes_at_start = alloc_bytes;
        alloc_most_bytes = bytes_at_start;
        has_waited = false;
        printed_by(action);
        EXPECT_TRUE(has_waited);
        most_bytes = alloc_most_bytes - bytes_at_start;
    }

    static void watch_line(std::string line)
    {
        watch([&] { dispatch(line.data()); });
    }

    static void stage_large_values()
    {
        for (const char *path : {"/m/c/x", "/m/c/y", "/m/top"})
            tree_stage_config(path, std::string(large, 'v').c_str(), operation_set);
    }
};

TEST_F(requests_alloc_test, nothing_is_held_while_a_reply_is_awaited)
{
    std::ofstream("/tmp/import") << "<data>" << std::string(large, 'd') << "</data>";
    tree_stage_config("/m/c/x", "1", operation_set);
    for (const char *line : {"save", "delete-config", "copy-config running startup",
                             "export-config running /tmp/export", "get /m/c", "get-config -r /m/c",
                             "import-config /tmp/import running"}) {
        serve({data_reply("<c/>")});
        watch_line(line);
        EXPECT_LT(waiting_bytes, little) << line;
    }
    stand_at("/m/c/l");
    serve({data_reply("<c/>")});
    watch_line("ls");
    // What stands there, a few bytes more or less by the order in which replies were given
    // back; the request takes as much again.
    EXPECT_LT(waiting_bytes, 4096 + little);
    serve({data_reply("<c/>")});
    watch([] { session_create(); });
    EXPECT_LT(waiting_bytes, little);
}

// The staged tree goes when the reply has come, that of copy-config before.
TEST_F(requests_alloc_test, nothing_but_the_tree_is_held_while_a_commit_is_awaited)
{
    stage_large_values();
    watch_line("commit");
    EXPECT_LT(waiting_bytes, little);
    stage_large_values();
    serve({data_reply("<c/>")});
    watch_line("copy-config config running");
    EXPECT_LT(waiting_bytes, -3 * large + little);
}

TEST_F(requests_alloc_test, an_import_holds_its_body_once)
{
    std::ofstream("/tmp/import") << "<data>" << std::string(large, 'd') << "</data>";
    watch_line("import-config /tmp/import running");
    EXPECT_LT(most_bytes, large + 8192);
}

TEST_F(requests_alloc_test, an_ordinary_reply_is_looked_at_without_memory)
{
    const std::string reply = data_reply("<c d=\"e\">&lt;\xc3\xa4</c>");
    alloc_failed = false;
    alloc_counts_libxml2 = true;
    alloc_calls_left = 0;
    const int found = is_notification(reply.data(), reply.size());
    alloc_calls_left = -1;
    alloc_counts_libxml2 = false;
    EXPECT_FALSE(alloc_failed);
    EXPECT_EQ(found, 0);
}

} // namespace
