// Memory that runs out, at every single allocation.
#include <errno.h>
#include <gtest/gtest.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <string>
#include <unistd.h>

#include "tinyrl/history.h"
#include "tinyrl/tinyrl.h"

namespace
{

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool can_fail = false;
#else
constexpr bool can_fail = true;
#endif

// How many allocations succeed before all fail; negative: any number.
long allowed = -1;

[[maybe_unused]] bool is_refused()
{
    if (allowed > 0) {
        allowed--;
        return false;
    }
    return allowed == 0;
}

} // namespace

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// The C library's own names. NOLINTBEGIN(readability-identifier-naming)
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);
}
// NOLINTEND(readability-identifier-naming)

void *malloc(size_t size)
{
    return is_refused() ? nullptr : __libc_malloc(size);
}

void *calloc(size_t nmemb, size_t size)
{
    return is_refused() ? nullptr : __libc_calloc(nmemb, size);
}

void *realloc(void *ptr, size_t size)
{
    return is_refused() ? nullptr : __libc_realloc(ptr, size);
}
#endif

namespace
{

class tinyrl_memory : public testing::Test
{
  protected:
    void SetUp() override
    {
        if (!can_fail)
            GTEST_SKIP() << "the sanitizer has its own allocator";
        setvbuf(output, output_buffer, _IOFBF, sizeof(output_buffer));
    }

    void TearDown() override
    {
        fclose(output);
    }

    // What has been written.
    std::string written()
    {
        fflush(output);
        std::string text(static_cast<size_t>(ftell(output)), '\0');
        rewind(output);
        text.resize(fread(text.data(), 1, text.size(), output));
        return text;
    }

    FILE *output = tmpfile();
    char output_buffer[4096];
};

bool insert_twice(struct tinyrl *editor, int /*key*/)
{
    const char text[] = "0123456789012345678901234567890123456789";
    bool first = tinyrl_insert_text(editor, text, sizeof(text) - 1);
    bool second = tinyrl_insert_text(editor, text, sizeof(text) - 1);
    tinyrl_redisplay(editor);
    return first && second;
}

} // namespace

TEST_F(tinyrl_memory, creation_fails_cleanly)
{
    int failures = 0;
    for (long count = 0;; count++) {
        allowed = count;
        struct tinyrl *editor = tinyrl_new(nullptr, output, 10, nullptr);
        allowed = -1;
        if (editor != nullptr) {
            tinyrl_delete(editor);
            break;
        }
        failures++;
    }
    EXPECT_EQ(1, failures);
}

TEST_F(tinyrl_memory, a_read_gives_the_whole_line_or_none)
{
    int failures = 0;
    struct tinyrl *editor = tinyrl_new(nullptr, output, 10, nullptr);
    tinyrl_bind_key(editor, 10, insert_twice);
    for (long count = 0;; count++) {
        allowed = count;
        errno = 0;
        char *line = tinyrl_readline_preset(editor, "> ", nullptr, "a line");
        int error = errno;
        allowed = -1;
        if (line != nullptr) {
            EXPECT_STREQ("a line0123456789012345678901234567890123456789"
                         "0123456789012345678901234567890123456789",
                         line);
            free(line);
            // The copies of what was drawn may have been the ones that failed.
            if (failures > 0 && count > 10)
                break;
            continue;
        }
        EXPECT_TRUE(error == 2 || error == 8) << count;
        failures++;
    }
    EXPECT_GT(failures, 2);
    tinyrl_delete(editor);
}

TEST_F(tinyrl_memory, a_refused_insertion_rings)
{
    struct tinyrl *editor = tinyrl_new(nullptr, output, 10, nullptr);
    allowed = 1;
    EXPECT_EQ(nullptr, tinyrl_readline_preset(editor, "> ", nullptr, "a line"));
    allowed = -1;
    tinyrl_delete(editor);
    EXPECT_EQ("\a> \n", written());
}

TEST_F(tinyrl_memory, history_stays_as_it_was)
{
    struct history history = history_with(0);
    const char *lines[] = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"};
    for (const char *line : lines)
        history_add(&history, line);
    for (long count = 0; count < 3; count++) {
        allowed = count;
        history_add(&history, "k");
        allowed = -1;
        EXPECT_EQ(nullptr, history_get(&history, 11)) << count;
        EXPECT_STREQ("a", history_get(&history, 1)->line);
        EXPECT_STREQ("j", history_get(&history, 10)->line);
    }
    history_add(&history, "k");
    EXPECT_STREQ("k", history_get(&history, 11)->line);
    history_clear(&history);
}

TEST_F(tinyrl_memory, expansion_fails_cleanly)
{
    struct history history = history_with(0);
    history_add(&history, "a line that is longer than the first piece of memory");
    char *result = nullptr;
    for (long count = 0; result == nullptr; count++) {
        allowed = count;
        history_expand(&history, "!1 !1", &result);
        allowed = -1;
        EXPECT_LT(count, 100);
    }
    EXPECT_STREQ("a line that is longer than the first piece of memory "
                 "a line that is longer than the first piece of memory",
                 result);
    free(result);
    history_clear(&history);
}
