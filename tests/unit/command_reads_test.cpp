// What a command has read from the database is not read again.
#include "schema/command_reads.h"

#include "tests/support/shell_world.h"

namespace
{

using asked = std::vector<std::string>;

class command_reads_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        fake_redis_put("h", "a", "1");
        fake_redis_put("h", "b", std::string("2\0x", 3));
    }

    static std::string field(const char *hash, const char *name)
    {
        const reply_ptr reply = read_field(hash, name);
        return reply ? std::string(reply_string(reply.get())) : "(none)";
    }

    static size_t elements(const char *hash)
    {
        const reply_ptr reply = read_hash(hash);
        return reply ? reply->elements : 0;
    }
};

TEST_F(command_reads_test, without_a_command_each_read_is_asked_for)
{
    EXPECT_EQ(field("h", "a"), "1");
    EXPECT_EQ(field("h", "a"), "1");
    EXPECT_EQ(elements("h"), 4U);
    EXPECT_EQ(elements("h"), 4U);
    EXPECT_EQ(fake_redis_take_asked(), (asked{"HGET h a", "HGET h a", "HGETALL h", "HGETALL h"}));
    EXPECT_EQ(fake_redis_open_replies(), 0);
}

TEST_F(command_reads_test, in_a_command_once)
{
    const command_reads reads;
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(field("h", "a"), "1");
        EXPECT_EQ(field("h", "b"), std::string("2\0x", 3));
    }
    EXPECT_EQ(fake_redis_take_asked(), (asked{"HGET h a", "HGET h b"}));
}

TEST_F(command_reads_test, a_whole_hash_answers_for_its_fields)
{
    const command_reads reads;
    EXPECT_EQ(elements("h"), 4U);
    EXPECT_EQ(elements("h"), 4U);
    EXPECT_EQ(field("h", "a"), "1");
    EXPECT_EQ(field("h", "nix"), "(none)");
    EXPECT_EQ(fake_redis_take_asked(), asked{"HGETALL h"});
}

TEST_F(command_reads_test, hash_and_field_are_told_apart)
{
    fake_redis_put("", "ha", "3");
    fake_redis_put("ha", "", "4");
    const command_reads reads;
    EXPECT_EQ(field("h", "a"), "1");
    EXPECT_EQ(field("", "ha"), "3");
    EXPECT_EQ(field("ha", ""), "4");
    EXPECT_EQ(elements("ha"), 2U);
    EXPECT_EQ(elements(""), 2U);
}

TEST_F(command_reads_test, nothing_outlives_the_command)
{
    {
        const command_reads reads;
        EXPECT_EQ(field("h", "a"), "1");
        EXPECT_EQ(elements("h"), 4U);
        EXPECT_EQ(fake_redis_open_replies(), 2);
    }
    EXPECT_EQ(fake_redis_open_replies(), 0);
    EXPECT_EQ(session.reads, nullptr);
    fake_redis_put("h", "a", "new");
    const command_reads reads;
    EXPECT_EQ(field("h", "a"), "new");
}

TEST_F(command_reads_test, one_within_another_joins_it)
{
    const command_reads outer;
    {
        const command_reads inner;
        EXPECT_EQ(field("h", "a"), "1");
        EXPECT_EQ(elements("h"), 4U);
    }
    fake_redis_put("h", "a", "new");
    EXPECT_EQ(field("h", "a"), "1");
    EXPECT_GT(outer.kept_size, 0U);
    command_reads_forget();
    EXPECT_EQ(outer.kept_size, 0U);
    EXPECT_EQ(field("h", "a"), "new");
}

TEST_F(command_reads_test, what_failed_is_asked_for_again)
{
    const command_reads reads;
    for (const fake_reply reply :
         {fake_reply_null, fake_reply_nil, fake_reply_error, fake_reply_integer}) {
        fake_redis_answer("h", reply);
        EXPECT_EQ(field("h", "a"), "(none)");
        EXPECT_EQ(elements("h"), 0U);
        EXPECT_EQ(fake_redis_open_replies(), 0);
    }
    fake_redis_take_asked();
    fake_redis_answer("h", fake_reply_true);
    EXPECT_EQ(field("h", "a"), "1");
    EXPECT_EQ(elements("h"), 4U);
    EXPECT_EQ(fake_redis_take_asked(), (asked{"HGET h a", "HGETALL h"}));
    EXPECT_EQ(field("h", "nix"), "(none)"); // the whole hash is known by now
    EXPECT_EQ(field("g", "a"), "(none)");
    EXPECT_EQ(field("g", "a"), "(none)");
    EXPECT_EQ(fake_redis_take_asked(), (asked{"HGET g a", "HGET g a"}));
}

TEST_F(command_reads_test, what_was_read_stays_when_the_connection_is_lost)
{
    const command_reads reads;
    EXPECT_EQ(field("h", "a"), "1");
    fake_redis_fail_after(0);
    EXPECT_EQ(field("h", "a"), "1");
    EXPECT_EQ(field("h", "b"), "(none)");
    fake_redis_fail_after(-1);
    EXPECT_EQ(field("h", "b"), std::string("2\0x", 3));
}

TEST_F(command_reads_test, more_reads_than_places)
{
    const command_reads reads;
    for (int round = 0; round < 2; round++) {
        for (int i = 0; i < 1000; i++) {
            const std::string name = std::to_string(i);
            if (round == 0)
                fake_redis_put("many", name, name);
            EXPECT_EQ(field("many", name.c_str()), name);
        }
    }
    EXPECT_EQ(fake_redis_take_asked().size(), 1000U);
}

TEST_F(command_reads_test, a_hash_with_a_field_twice_is_not_there)
{
    for (int i = 0; i < 99; i++)
        fake_redis_put("many", std::to_string(i), "value");
    EXPECT_EQ(elements("many"), 198U);
    fake_redis_answer("many", fake_reply_repeated);
    EXPECT_EQ(elements("many"), 0U);
    EXPECT_EQ(fake_redis_open_replies(), 0);
}

} // namespace
