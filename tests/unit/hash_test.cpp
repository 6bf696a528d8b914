// Nobody can choose texts that meet in a table.
#include "base/hash.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

uint32_t hash(const std::string &text)
{
    return hash_text(hash_start, text);
}

TEST(hash, goes_on_from_a_prefix)
{
    EXPECT_EQ(hash_text(hash("/m/l"), "[k=a]"), hash("/m/l[k=a]"));
    EXPECT_EQ(hash_byte(hash("/m/"), 'l'), hash("/m/l"));
}

// They were worked out for the factor 16777619.
TEST(hash, texts_that_meet_with_a_factor_that_is_known)
{
    EXPECT_NE(hash("/m/l[k=YlkRM"), hash("/m/l[k=zli1m"));
}

// Each letter says whether the number of its place has an odd number of bits.
TEST(hash, texts_that_would_meet_with_any_factor)
{
    std::string one;
    std::string other;
    for (unsigned place = 0; place < 4096; place++) {
        one += std::popcount(place) % 2 != 0 ? 'a' : 'b';
        other += std::popcount(place) % 2 != 0 ? 'b' : 'a';
    }
    EXPECT_NE(hash(one), hash(other));
}

} // namespace
