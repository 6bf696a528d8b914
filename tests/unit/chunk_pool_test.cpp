// The output chunk pool.
#include "cmdtree/chunk_pool.h"

#include <gtest/gtest.h>
#include <string>

extern "C" const char *__asan_default_options(void)
{
    return "allocator_may_return_null=1";
}

namespace
{

class chunk_pool_test : public testing::Test
{
  protected:
    void SetUp() override
    {
        session = session_record();
    }

    void TearDown() override
    {
        pool_release();
    }

    // capacity-remaining of each slot.
    static std::string shape()
    {
        std::string text;
        for (unsigned slot = 0; slot < 16; slot++) {
            const output_chunk *chunk = session.output.slot[slot];
            if (chunk == nullptr)
                break;
            text += std::to_string(chunk->capacity) + "-" + std::to_string(chunk->remaining) + " ";
        }
        return text + "@" + std::to_string(session.output.current);
    }

    static int append(size_t length)
    {
        return pool_append(std::string(length, 'x'));
    }
};

TEST_F(chunk_pool_test, an_empty_pool)
{
    EXPECT_EQ(shape(), "@0");
    EXPECT_EQ(pool_text_length(), 0U);
    EXPECT_TRUE(pool_chunk_text(0).empty());
    EXPECT_TRUE(pool_chunk_text(16).empty());
    pool_release();
    pool_release();
}

TEST_F(chunk_pool_test, pieces_join_in_a_chunk)
{
    EXPECT_EQ(pool_append("<a>"), 0);
    EXPECT_EQ(pool_append(""), 0);
    EXPECT_EQ(pool_append("b</a>"), 0);
    EXPECT_EQ(pool_chunk_text(0), "<a>b</a>");
    EXPECT_STREQ(session.output.slot[0]->data, "<a>b</a>");
    EXPECT_EQ(shape(), "4096-4088 @0");
    EXPECT_EQ(pool_text_length(), 8U);
}

TEST_F(chunk_pool_test, a_piece_needs_room_for_the_zero_too)
{
    EXPECT_EQ(append(4095), 0);
    EXPECT_EQ(shape(), "4096-1 @0");
    EXPECT_EQ(append(1), 0);
    EXPECT_EQ(shape(), "4096-1 8192-8191 @1");
}

TEST_F(chunk_pool_test, a_piece_of_a_chunk_s_size_gets_one_of_its_own)
{
    EXPECT_EQ(append(4096), 0);
    EXPECT_EQ(shape(), "4097-1 @0");
    EXPECT_EQ(append(8192), 0);
    EXPECT_EQ(shape(), "4097-1 8193-1 @1");
    EXPECT_EQ(append(16383), 0);
    EXPECT_EQ(shape(), "4097-1 8193-1 16384-1 @2");
    EXPECT_EQ(append(100000), 0);
    EXPECT_EQ(shape(), "4097-1 8193-1 16384-1 100001-1 @3");
}

TEST_F(chunk_pool_test, a_piece_that_fits_the_current_chunk_stays_there)
{
    append(4000);
    append(95);
    EXPECT_EQ(shape(), "4096-1 @0");
    append(10);
    append(8000);
    EXPECT_EQ(shape(), "4096-1 8192-182 @1");
    append(182); // remaining must be greater
    EXPECT_EQ(shape(), "4096-1 8192-182 16384-16202 @2");
}

TEST_F(chunk_pool_test, texts_stay_in_order)
{
    std::string all;
    for (int i = 0; i < 3000; i++) {
        std::string piece = std::to_string(i) + std::string(static_cast<size_t>(i) % 50, '.');
        ASSERT_EQ(pool_append(piece), 0);
        all += piece;
    }
    std::string joined;
    for (unsigned slot = 0; slot < 16; slot++)
        joined += pool_chunk_text(slot);
    EXPECT_EQ(joined, all);
    EXPECT_EQ(pool_text_length(), all.size());
}

TEST_F(chunk_pool_test, texts_move_to_the_end_of_another)
{
    ASSERT_EQ(append(4000), 0);
    ASSERT_EQ(append(5000), 0);
    text_buffer out;
    ASSERT_EQ(text_append(&out, "head"), 0);
    ASSERT_EQ(pool_move_to(&out, 6), 0);
    EXPECT_EQ(shape(), "@0");
    EXPECT_EQ(out.data.get(), "head" + std::string(9000, 'x'));
    EXPECT_EQ(out.capacity, 4U + 9000 + 6 + 1);
    ASSERT_EQ(pool_move_to(&out, 0), 0);
    EXPECT_EQ(out.length, 9004U);
}

TEST_F(chunk_pool_test, a_17th_chunk_is_refused)
{
    // Each piece is one too large for its slot's chunk.
    for (unsigned slot = 0; slot < 10; slot++)
        ASSERT_EQ(append(4096U << slot), 0);
    for (unsigned slot = 10; slot < 16; slot++) {
        // The standard size, filled to its last byte but one.
        ASSERT_EQ(append((4096U << slot) - 1), 0);
    }
    EXPECT_EQ(session.output.current, 15U);
    EXPECT_EQ(session.output.slot[15]->capacity, 134217728U);
    EXPECT_EQ(append(1), -1);
    EXPECT_EQ(session.output.current, 15U);
    pool_release();
    EXPECT_EQ(shape(), "@0");
    EXPECT_EQ(append(5), 0);
    EXPECT_EQ(shape(), "4096-4091 @0");
}

TEST_F(chunk_pool_test, a_piece_that_no_chunk_can_count_is_refused)
{
    if (sizeof(size_t) > 4) {
        const char *nowhere = "";
        EXPECT_EQ(pool_append(std::string_view(nowhere, size_t{0xffffffff})), -1);
        // NOLINTNEXTLINE(bugprone-string-constructor): no such text exists
        EXPECT_EQ(pool_append(std::string_view(nowhere, SIZE_MAX)), -1);
    }
    EXPECT_EQ(shape(), "@0");
}

TEST_F(chunk_pool_test, release_is_idempotent)
{
    append(10);
    append(10000);
    pool_release();
    EXPECT_EQ(shape(), "@0");
    pool_release();
    EXPECT_EQ(shape(), "@0");
}

} // namespace
