// Tab and '?' when memory runs out at any allocation: what is typed stays.
#include "tests/support/alloc_faults.h"

#include <set>

#include "tests/support/completion_world.h"

namespace
{

long allocations; // that succeed while a key is handled
bool alone;       // only one fails, not all after it
bool in_libxml2;  // it is one of libxml2's

bool with_little_memory(tinyrl *editor, tinyrl_key_handler *handler, int key)
{
    alloc_fails_once = alone;
    alloc_counts_libxml2 = in_libxml2;
    alloc_calls_left = allocations;
    const bool result = handler(editor, key);
    alloc_calls_left = -1;
    return result;
}

bool tab_key(tinyrl *editor, int key)
{
    return with_little_memory(editor, completion_tab_key, key);
}

bool help_key(tinyrl *editor, int key)
{
    return with_little_memory(editor, completion_help_key, key);
}

class completion_alloc : public completion_world
{
  protected:
    void SetUp() override
    {
        completion_world::SetUp();
        sample_schema();
        tinyrl_bind_key(editing->editor, 9, tab_key);
        tinyrl_bind_key(editing->editor, 63, help_key);
    }

    // Strikes a key with each of its allocations failing, until none does.
    // Whatever fails, the line is as typed or as it should become.
    void fail_everywhere(const std::string &line, char key, const std::string &completed)
    {
        scenarios++;
        for (const int way : {0, 1, 2, 3}) {
            alone = way % 2 == 0;
            in_libxml2 = way >= 2;
            fail_in_this_way(line, key, completed);
        }
        alone = false;
        in_libxml2 = false;
    }

    void fail_in_this_way(const std::string &line, char key, const std::string &completed)
    {
        for (allocations = 0;; allocations++) {
            if (!reply.empty())
                serve(std::vector<std::string>(8, reply));
            alloc_failed = false;
            const struck result = strike(line, key);
            for (const std::string &text : errors())
                logged.insert(text);
            if (!alloc_failed) {
                EXPECT_EQ(result.line, completed);
                EXPECT_TRUE(in_libxml2 || allocations > 0);
                return;
            }
            points++;
            EXPECT_TRUE(result.line == line + "|" || result.line == completed)
                << line << " became " << result.line << " after " << allocations;
        }
    }

    static void TearDownTestSuite()
    {
        printf("swept: %d scenarios, %ld failure points of allocations: completion\n", scenarios,
               points);
    }

    std::set<std::string> logged;
    std::string reply; // of the daemon to each request
    inline static int scenarios = 0;
    inline static long points = 0;
};

const char no_word[] = "[ERROR] [complete] malloc cmd is NULL !\n\n";
const char no_path[] = "[ERROR] [get_match] malloc pwd is NULL !\n\n";
const char no_workspace[] = "[ERROR] [get_match] strdup pwd is NULL !\n\n";
const char no_match[] = "[ERROR] [aug_option_add_match]--error:malloc match \r\n \n";
const char no_child[] = "[ERROR] error:get descendant by schema \r\n \n";
const char no_schema_path[] = "[ERROR] error parameter: \r\n\n";

} // namespace

TEST_F(completion_alloc, tab_on_commands)
{
    stand_at("/m");
    fail_everywhere("pw", '\t', "pwd|");
    fail_everywhere("b", '\t', "bare|");
    fail_everywhere("g", '\t', "get|");
    EXPECT_TRUE(logged.empty());
}

TEST_F(completion_alloc, tab_on_paths)
{
    fail_everywhere("set m/to", '\t', "set m/top|");
    fail_everywhere("cd ", '\t', "cd |");
    EXPECT_EQ(logged.count(no_word), 1U);
    EXPECT_EQ(logged.count(no_path), 1U);
    EXPECT_EQ(logged.count(no_workspace), 1U);
    EXPECT_EQ(logged.count(no_match), 1U);
    stand_at("/m/c");
    fail_everywhere("set a", '\t', "set a|");
    EXPECT_EQ(logged.count(no_child), 1U);
    EXPECT_EQ(logged.count(no_schema_path), 1U);
}

TEST_F(completion_alloc, tab_on_words)
{
    fail_everywhere("copy-config running s", '\t', "copy-config running startup|");
    fail_everywhere("export-config r", '\t', "export-config running|");
    stand_at("/m/c/l2");
    fail_everywhere("add-listentry k1 v k", '\t', "add-listentry k1 v k2|");
    EXPECT_EQ(logged, std::set<std::string>{no_word});
}

TEST_F(completion_alloc, help_on_everything)
{
    fail_everywhere("pw", '?', "pwd|");
    fail_everywhere("cd ", '?', "cd |");
    fail_everywhere("get-config ", '?', "get-config |");
    fail_everywhere("set m/to", '?', "set m/top|");
    fail_everywhere("set m/top", '?', "set m/top|");
    fail_everywhere("copy-config running s", '?', "copy-config running startup|");
    fail_everywhere("get-config -l m/s", '?', "get-config -l m/state/|");
    stand_at("/m/c/l2");
    fail_everywhere("add-listentry ", '?', "add-listentry |");
}

TEST_F(completion_alloc, a_prefix_that_cannot_be_inserted)
{
    fake_redis_put_node("/o", "a-long-name-that-makes-the-line-grow", fake_leaf);
    fail_everywhere("set o/a", '?', "set o/a-long-name-that-makes-the-line-grow|");
    EXPECT_EQ(logged.count("[ERROR] tinyrl insert "
                           "matches[0]=a-long-name-that-makes-the-line-grow len=36 fail.\n"),
              1U);
}

TEST_F(completion_alloc, entries_that_the_daemon_holds)
{
    stand_at("/m/c/l");
    for (const char *end : {"", "<!-- takes a document -->"}) {
        reply = data_reply("<c xmlns=\"urn:m\"><l><name>a b</name></l></c>" + std::string(end));
        fail_everywhere("cd l", '\t', "cd l[name=\"a b\"]/|");
    }
    fail_everywhere("cd ", '?', "cd |");
}
