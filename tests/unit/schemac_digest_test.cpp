// The digest of the schema compiler: the published examples, and any division
// into parts.
#include "device/schemac/digest.h"

#include <gtest/gtest.h>

namespace
{

TEST(schemac_digest, is_that_of_the_published_examples)
{
    EXPECT_EQ(digest_add(digest_of_nothing, ""), 0xcbf29ce484222325);
    EXPECT_EQ(digest_add(digest_of_nothing, "a"), 0xaf63dc4c8601ec8c);
    EXPECT_EQ(digest_add(digest_of_nothing, "foobar"), 0x85944171f73967e8);
    EXPECT_EQ(digest_add(digest_of_nothing, "chongo was here!\n"), 0x46810940eff5f915);
}

TEST(schemac_digest, does_not_depend_on_the_parts)
{
    EXPECT_EQ(digest_add(digest_add(digest_of_nothing, "foo"), "bar"),
              digest_add(digest_of_nothing, "foobar"));
}

} // namespace
