// The digest of the schema compiler: the published examples, and any division
// into parts.
#include "device/schemac/digest.h"

#include <gtest/gtest.h>

namespace
{

std::string digest_of(std::string_view text)
{
    digest_state state = digest_start();
    digest_add(&state, text);
    return digest_end(&state);
}

TEST(schemac_digest, is_that_of_the_published_examples)
{
    EXPECT_EQ(digest_of(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(digest_of("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(digest_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(digest_of(std::string(1000000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(schemac_digest, does_not_depend_on_the_parts)
{
    const std::string text(200, 'x');
    const std::string whole = digest_of(text);
    for (size_t first = 0; first <= text.size(); first++) {
        digest_state state = digest_start();
        digest_add(&state, std::string_view(text).substr(0, first));
        digest_add(&state, std::string_view(text).substr(first));
        EXPECT_EQ(digest_end(&state), whole) << first;
    }
}

} // namespace
