// Where export-config writes: files that are not the operator's, and somebody
// who changes what stands at the path while the shell looks at it.
#include "commands/export_file.h"

#include <atomic>
#include <errno.h>
#include <poll.h>
#include <sys/resource.h>
#include <thread>

#include "tests/support/files.h"
#include "tests/support/shell_world.h"

namespace
{

constexpr char directory[] = "/tmp/there";
constexpr char path[] = "/tmp/there/out";
constexpr char other_path[] = "/tmp/there/next";
constexpr char victim[] = "/tmp/victim";
constexpr char missing[] = "/tmp/missing";
constexpr char fifo[] = "/tmp/fifo";
constexpr uid_t operator_id = 4711; // users that no test runs as
constexpr uid_t other_id = 4712;

// What the wrapped calls do besides.
std::function<void()> before_call; // called before each of them
std::function<void()> within_look; // called when lstat() has found what it tells of
int calls_left = -1;               // before_call comes with the call of this number; -1: none
bool owner_is_another = false;     // every file belongs to somebody else
int unlink_error = 0;              // why nothing can be removed; 0: it can
bool has_no_status = false;        // an open file does not tell what it is

void count_call()
{
    if (calls_left >= 0 && calls_left-- == 0)
        before_call();
}

int told(int result, struct stat64 *status)
{
    if (result == 0 && owner_is_another)
        status->st_uid++;
    return result;
}

} // namespace

extern "C" {
int __real_open64(const char *name, int flags, ...);
int __real_lstat64(const char *name, struct stat64 *status);
int __real_stat64(const char *name, struct stat64 *status);
int __real_fstat64(int fd, struct stat64 *status);
int __real_ftruncate64(int fd, off64_t size);
int __real_unlink(const char *name);
int __real_faccessat(int fd, const char *name, int mode, int flags);

int __wrap_open64(const char *name, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    count_call();
    return __real_open64(name, flags, mode);
}
int __wrap_lstat64(const char *name, struct stat64 *status)
{
    count_call();
    const int found = within_look ? __real_open64(name, O_PATH | O_NOFOLLOW) : -1;
    if (found < 0)
        return told(__real_lstat64(name, status), status);
    within_look();
    const int result = __real_fstat64(found, status);
    close(found);
    return result;
}
int __wrap_stat64(const char *name, struct stat64 *status)
{
    count_call();
    return told(__real_stat64(name, status), status);
}
int __wrap_fstat64(int fd, struct stat64 *status)
{
    count_call();
    if (has_no_status) {
        errno = EIO;
        return -1;
    }
    return told(__real_fstat64(fd, status), status);
}
int __wrap_ftruncate64(int fd, off64_t size)
{
    count_call();
    return __real_ftruncate64(fd, size);
}
int __wrap_unlink(const char *name)
{
    count_call();
    if (unlink_error != 0) {
        errno = unlink_error;
        return -1;
    }
    return __real_unlink(name);
}
int __wrap_faccessat(int fd, const char *name, int mode, int flags)
{
    count_call();
    return __real_faccessat(fd, name, mode, flags);
}
}

namespace
{

const log_lines not_opened = {{11, "[ERROR] Opening output file failed.\n\n"}};
const log_lines not_written = {{11, "[ERROR] write file fail.\n\n"}};
const log_lines no_status = {{11, "[ERROR] Unable to get input file information.\n\n"}};
const log_lines no_file = {{11, "[ERROR] export path is not a file.\r\n\n"}};

// What somebody else puts at the path. Each replaces what is there in one step,
// but for the first.
struct plant {
    const char *name;
    std::function<void(const char *)> make;
};

const plant plants[] = {
    {"nothing", [](const char *) {}},
    {"a link to nothing", [](const char *at) { (void)!symlink(missing, at); }},
    {"a link", [](const char *at) { (void)!symlink(victim, at); }},
    {"a second name", [](const char *at) { (void)!link(victim, at); }},
    {"a FIFO", [](const char *at) { mkfifo(at, 0666); }},
    {"a link to a FIFO", [](const char *at) { (void)!symlink(fifo, at); }},
    {"a directory", [](const char *at) { mkdir(at, 0777); }},
    {"a file", [](const char *at) { write_file(at, "planted"); }},
};

void clear_place(const char *at)
{
    if (__real_unlink(at) != 0)
        rmdir(at);
}

void put(const plant &what)
{
    clear_place(other_path);
    what.make(other_path);
    if (rename(other_path, path) != 0) { // onto a directory, or nothing was made
        clear_place(path);
        (void)!rename(other_path, path);
    }
}

class export_file_test : public shell_world
{
  protected:
    static void SetUpTestSuite()
    {
        private_tmp();
    }

    void SetUp() override
    {
        shell_world::SetUp();
        calls_left = -1;
        within_look = nullptr;
        owner_is_another = false;
        unlink_error = 0;
        has_no_status = false;
        clear_place(path);
        clear_place(other_path);
        rmdir(directory);
        ASSERT_EQ(mkdir(directory, 0755), 0);
        clear_place(missing);
        write_file(victim, "kept");
        clear_place(fifo);
        ASSERT_EQ(mkfifo(fifo, 0600), 0);
        reader = open(fifo, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        captured_log_take();
    }

    void TearDown() override
    {
        EXPECT_EQ(file_text(victim), "kept");
        EXPECT_EQ(access(missing, F_OK), -1) << "what a link leads to was made";
        EXPECT_FALSE(fifo_was_opened());
        close(reader);
        shell_world::TearDown();
    }

    // Whether the FIFO had another end since it was made: then this end hangs up.
    bool fifo_was_opened() const
    {
        struct pollfd end = {reader, 0, 0};
        return poll(&end, 1, 0) != 0;
    }

    // Clears the path and writes to it; what is printed.
    static std::string write_text(const std::string &text)
    {
        return printed_by([&] {
            if (export_file_clear(path) == 0)
                export_file_write(path, text);
        });
    }

    static std::string write_limited(const std::string &text, rlim_t largest)
    {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit = {};
        getrlimit(RLIMIT_FSIZE, &limit);
        struct rlimit low = limit;
        low.rlim_cur = largest;
        setrlimit(RLIMIT_FSIZE, &low);
        const int result = export_file_write(path, text);
        setrlimit(RLIMIT_FSIZE, &limit);
        return result == 0 ? "written" : "failed";
    }

    int reader = -1;
};

TEST_F(export_file_test, a_file_system_that_gives_every_file_one_owner)
{
    owner_is_another = true;
    EXPECT_EQ(write_text("new"), "");
    EXPECT_EQ(file_text(path), "new");
    EXPECT_EQ(write_text("newer"), "");
    EXPECT_EQ(file_text(path), "newer");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(export_file_test, a_file_that_cannot_be_removed_is_written_over)
{
    owner_is_another = true;
    unlink_error = EPERM;
    write_file(path, std::string(1000, 'x'));
    EXPECT_EQ(write_text("new"), "");
    EXPECT_EQ(file_text(path), "new");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(export_file_test, what_is_made_to_look_at_it_is_the_operator_s_alone)
{
    unlink_error = EPERM;
    umask(0);
    EXPECT_EQ(export_file_clear(path), 0);
    umask(022);
    struct stat64 status = {};
    ASSERT_EQ(__real_lstat64(path, &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFREG | 0700});
}

// The same without any help, for those who are not root.
TEST_F(export_file_test, others_file_in_a_directory_where_it_cannot_be_removed)
{
    write_file(path, std::string(1000, 'x'));
    if (geteuid() != 0 || chown(path, other_id, other_id) != 0)
        GTEST_SKIP() << "only root can make another user's file";
    ASSERT_EQ(chmod(path, 0666), 0);
    ASSERT_EQ(chmod(directory, 01777), 0);
    ASSERT_EQ(seteuid(operator_id), 0);
    EXPECT_EQ(write_text("new"), "");
    EXPECT_EQ(unlink(path), -1);
    ASSERT_EQ(seteuid(0), 0);
    struct stat status = {};
    EXPECT_EQ(stat(path, &status), 0);
    EXPECT_EQ(status.st_uid, other_id);
    EXPECT_EQ(file_text(path), "new");
}

TEST_F(export_file_test, others_file_in_a_directory_of_the_operator)
{
    write_file(path, "old");
    if (geteuid() != 0 || chown(path, other_id, other_id) != 0)
        GTEST_SKIP() << "only root can make another user's file";
    ASSERT_EQ(chmod(path, 0666), 0);
    ASSERT_EQ(chown(directory, operator_id, operator_id), 0);
    ASSERT_EQ(seteuid(operator_id), 0);
    EXPECT_EQ(write_text("new"), "");
    ASSERT_EQ(seteuid(0), 0);
    struct stat status = {};
    EXPECT_EQ(stat(path, &status), 0);
    EXPECT_EQ(status.st_uid, operator_id);
    EXPECT_EQ(file_text(path), "new");
}

TEST_F(export_file_test, what_cannot_be_removed_keeps_nothing_of_a_text_that_does_not_fit)
{
    write_file(path, "old");
    unlink_error = EPERM;
    EXPECT_EQ(write_limited(std::string(100000, 'x'), 5000), "failed");
    EXPECT_EQ(captured_log_take(), not_written);
    EXPECT_EQ(file_text(path), "");
}

TEST_F(export_file_test, without_a_status_the_path_stays_as_it_is)
{
    has_no_status = true;
    EXPECT_EQ(write_text("new"), "");
    EXPECT_EQ(captured_log_take(), no_status);
    EXPECT_EQ(file_text(path), "(no file)");
    write_file(path, "old");
    EXPECT_EQ(write_text("new"), "");
    EXPECT_EQ(captured_log_take(), no_status);
    EXPECT_EQ(file_text(path), "old");
}

TEST_F(export_file_test, a_link_to_a_fifo_or_a_device_is_refused_unopened)
{
    put(plants[5]);
    EXPECT_EQ(write_text("new"), "");
    EXPECT_EQ(captured_log_take(), no_file);
    clear_place(path);
    ASSERT_EQ(symlink("/dev/null", path), 0);
    EXPECT_EQ(write_text("new"), "");
    EXPECT_EQ(captured_log_take(), no_file);
    struct stat status = {};
    EXPECT_EQ(lstat(path, &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(export_file_test, a_link_that_cannot_be_removed_is_refused)
{
    unlink_error = EPERM;
    for (int i : {1, 2}) {
        put(plants[i]);
        EXPECT_EQ(write_text("new"), "") << plants[i].name;
        EXPECT_EQ(captured_log_take(), not_opened) << plants[i].name;
        EXPECT_EQ(file_text(victim), "kept");
        EXPECT_EQ(access(missing, F_OK), -1);
    }
}

TEST_F(export_file_test, what_comes_in_the_way_is_refused_or_replaced)
{
    for (const plant &what : plants) {
        SCOPED_TRACE(what.name);
        const bool is_plain = what.name == plants[0].name || what.name == plants[7].name;
        ASSERT_EQ(export_file_clear(path), 0);
        put(what);
        EXPECT_EQ(export_file_write(path, "new"), is_plain ? 0 : -1);
        EXPECT_EQ(captured_log_take(), is_plain ? log_lines{} : not_opened);
        EXPECT_EQ(file_text(victim), "kept");
        clear_place(path);
    }
}

// Whoever has put a file there may have it open and read it.
TEST_F(export_file_test, a_file_that_comes_in_the_way_does_not_get_the_text)
{
    for (int call = 0; calls_left < 0; call++) {
        ASSERT_EQ(export_file_clear(path), 0);
        int planted = -1;
        before_call = [&] {
            put(plants[7]);
            planted = open(path, O_RDONLY | O_CLOEXEC);
        };
        calls_left = call;
        EXPECT_EQ(export_file_write(path, "new"), 0) << "at call " << call;
        if (calls_left < 0) {
            char text[8] = {};
            EXPECT_EQ(read(planted, text, sizeof text), 7);
            EXPECT_STREQ(text, "planted") << "at call " << call;
        }
        close(planted);
    }
}

// The name at the path goes while the file is open: the file has one name left then,
// which is not the path.
TEST_F(export_file_test, a_second_name_that_goes_does_not_make_a_file_plain)
{
    for (const plant &next : plants) {
        SCOPED_TRACE(next.name);
        for (int call = 0; calls_left < 0; call++) {
            put(plants[3]);
            before_call = [&] { put(next); };
            calls_left = call;
            export_file_write(path, "new");
            ASSERT_EQ(file_text(victim), "kept") << "at call " << call;
        }
        calls_left = -1;
        captured_log_take();
    }
}

// The same within the call that counts the names, whichever of them it is.
TEST_F(export_file_test, a_second_name_that_goes_while_it_is_counted)
{
    for (const plant &next : plants) {
        for (int look = 0; look < 3; look++) {
            put(plants[3]);
            int looks_left = look;
            within_look = [&] {
                if (looks_left-- == 0)
                    put(next);
            };
            write_text("new");
            EXPECT_EQ(file_text(victim), "kept") << next.name << " at look " << look;
            put(plants[3]);
            looks_left = look;
            export_file_write(path, "new");
            ASSERT_EQ(file_text(victim), "kept") << next.name << " at look " << look;
        }
    }
    captured_log_take();
}

// What comes between any two calls, in place of anything that was there before.
TEST_F(export_file_test, what_comes_between_two_calls)
{
    for (const plant &first : plants) {
        for (const plant &second : plants) {
            SCOPED_TRACE(std::string(first.name) + ", then " + second.name);
            for (int call = 0; calls_left < 0; call++) {
                put(first);
                before_call = [&] { put(second); };
                calls_left = call;
                write_text("new");
                EXPECT_EQ(file_text(victim), "kept") << "at call " << call;
                ASSERT_EQ(access(missing, F_OK), -1) << "at call " << call;
                EXPECT_FALSE(fifo_was_opened()) << "at call " << call;
            }
            calls_left = -1;
        }
    }
}

// The same without any order, against somebody who never rests.
TEST_F(export_file_test, hundreds_of_races_are_not_won)
{
    std::atomic<bool> goes_on = true;
    std::atomic<int> rounds = 0;
    std::thread somebody([&] {
        for (; goes_on; rounds++) {
            for (const plant &what : plants)
                put(what);
        }
    });
    for (int i = 0; i < 500 || rounds < 500; i++) {
        write_text("new");
        EXPECT_EQ(file_text(victim), "kept");
    }
    goes_on = false;
    somebody.join();
}

} // namespace
