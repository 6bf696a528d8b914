// The mode of the profile at every moment.
#include "profile/profile.h"

#include <sys/stat.h>

#include "tests/support/profile_world.h"

namespace
{

std::vector<unsigned> modes_before;
std::string text_before; // of the file when its mode is set

unsigned mode_of(const struct stat &status)
{
    return status.st_mode & 07777;
}

} // namespace

extern "C" {
int __real_fchmod(int fd, mode_t mode);
int __wrap_fchmod(int fd, mode_t mode)
{
    struct stat status = {};
    EXPECT_EQ(fstat(fd, &status), 0);
    text_before = file_text(profile_name);
    modes_before.push_back(mode_of(status));
    return __real_fchmod(fd, mode);
}
}

namespace
{

class profile_mode_test : public profile_world
{
  protected:
    void SetUp() override
    {
        profile_world::SetUp();
        modes_before.clear();
        mask = umask(0);
    }

    void TearDown() override
    {
        umask(mask);
        profile_world::TearDown();
    }

    static unsigned mode()
    {
        struct stat status = {};
        EXPECT_EQ(lstat(profile_name, &status), 0);
        return mode_of(status);
    }

    mode_t mask = 0;
};

TEST_F(profile_mode_test, a_new_file_is_private_from_its_first_moment)
{
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), 0);
    EXPECT_EQ(modes_before, std::vector<unsigned>{0600});
    EXPECT_EQ(text_before, "");
    EXPECT_EQ(mode(), 0600U);
}

TEST_F(profile_mode_test, an_old_file_is_made_private_before_it_is_written)
{
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), 0);
    const std::string old = profile();
    ASSERT_EQ(chmod(profile_name, 0644), 0);
    EXPECT_EQ(profile_write_back(), 0);
    EXPECT_EQ(modes_before, (std::vector<unsigned>{0600, 0644}));
    EXPECT_EQ(text_before, old);
    EXPECT_NE(profile(), old);
    EXPECT_EQ(mode(), 0600U);
}

TEST_F(profile_mode_test, in_place_of_what_others_may_write_comes_a_new_file)
{
    EXPECT_EQ(profile_write_fresh(), 0);
    for (const mode_t loose : {0620, 0602, 0666}) {
        ASSERT_EQ(chmod(profile_name, loose), 0);
        const int held = open(profile_name, O_WRONLY | O_CLOEXEC);
        modes_before.clear();
        EXPECT_EQ(profile_write_fresh(), 0);
        EXPECT_EQ(modes_before, std::vector<unsigned>{0600});
        EXPECT_EQ(text_before, "");
        struct stat status = {};
        EXPECT_EQ(fstat(held, &status), 0);
        EXPECT_EQ(status.st_nlink, 0U) << "whoever holds the file open can write the new one";
        close(held);
    }
}

TEST_F(profile_mode_test, a_line_leaves_the_mode_alone)
{
    EXPECT_EQ(profile_write_fresh(), 0);
    ASSERT_EQ(chmod(profile_name, 0640), 0);
    EXPECT_EQ(profile_put_line("[config]", "set /m/c/x 1", profile_append), 0);
    EXPECT_EQ(mode(), 0640U);
    EXPECT_EQ(modes_before.size(), 1U);
}

} // namespace
