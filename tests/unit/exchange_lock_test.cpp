// Who may release the exchange lock.
#include "link/exchange_lock.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <thread>

#include "base/session.h"

namespace
{

class exchange_lock_test : public testing::Test
{
  protected:
    void SetUp() override
    {
        session = session_record();
        lock_init();
    }

    static int try_elsewhere()
    {
        int result = -1;
        std::thread other([&] {
            result = exchange_trylock();
            if (result == 0)
                exchange_unlock();
        });
        other.join();
        return result;
    }
};

TEST_F(exchange_lock_test, one_thread_at_a_time)
{
    EXPECT_EQ(try_elsewhere(), 0);
    EXPECT_EQ(exchange_lock(), 0);
    EXPECT_EQ(try_elsewhere(), EBUSY);
    EXPECT_EQ(exchange_unlock(), 0);
    EXPECT_EQ(try_elsewhere(), 0);
}

TEST_F(exchange_lock_test, trylock_takes_it_when_it_is_free)
{
    EXPECT_EQ(exchange_trylock(), 0);
    EXPECT_EQ(try_elsewhere(), EBUSY);
    EXPECT_EQ(exchange_unlock(), 0);
}

TEST_F(exchange_lock_test, releasing_what_is_not_held_is_harmless)
{
    EXPECT_EQ(exchange_unlock(), 0);
    EXPECT_EQ(exchange_unlock(), 0);
    EXPECT_EQ(exchange_lock(), 0);
    EXPECT_EQ(exchange_unlock(), 0);
    EXPECT_EQ(exchange_unlock(), 0);
    EXPECT_EQ(try_elsewhere(), 0);
}

TEST_F(exchange_lock_test, another_thread_s_hold_is_never_released)
{
    EXPECT_EQ(exchange_lock(), 0);
    std::thread other([] { EXPECT_EQ(exchange_unlock(), 0); });
    other.join();
    EXPECT_EQ(try_elsewhere(), EBUSY);
    EXPECT_EQ(exchange_unlock(), 0);
}

TEST_F(exchange_lock_test, two_threads_exclude_each_other)
{
    int counter = 0;
    auto work = [&counter] {
        for (int i = 0; i < 20000; i++) {
            exchange_lock();
            counter++;
            exchange_unlock();
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(counter, 40000);
}

} // namespace
