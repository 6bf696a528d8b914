// Key sets, and the entry names built from them.
#include "schema/key_set.h"

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/captured_log.h"

namespace
{

using pairs = std::vector<std::pair<std::string, std::string>>;

std::string name_of(const std::string &list, const pairs &keys,
                    const std::vector<std::string> &names)
{
    key_value_set set(keys.size());
    key_names key_list;
    for (const auto &[key, value] : keys)
        EXPECT_EQ(key_values_add(&set, key, value), 0);
    for (const std::string &name : names)
        EXPECT_EQ(key_names_add(&key_list, name), 0);
    heap_text name = entry_name(list, &set, &key_list);
    return name ? name.get() : "(none)";
}

class key_set_test : public testing::Test
{
  protected:
    void SetUp() override
    {
        captured_log_take();
    }
};

TEST_F(key_set_test, one_key)
{
    EXPECT_EQ(name_of("l", {{"name", "a"}}, {"name"}), "l[name=a]");
    EXPECT_EQ(name_of("o:l", {{"name", ""}}, {"name"}), "o:l[name=]");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(key_set_test, keys_are_sorted_by_name)
{
    EXPECT_EQ(name_of("l", {{"k2", "b"}, {"k1", "a"}}, {"k1", "k2"}), "l[k1=a,k2=b]");
    EXPECT_EQ(name_of("l", {{"k1", "a"}, {"k2", "b"}}, {"k2", "k1"}), "l[k1=a,k2=b]");
    EXPECT_EQ(name_of("l", {{"b", "1"}, {"a", "2"}, {"B", "3"}}, {"a", "B", "b"}),
              "l[B=3,a=2,b=1]");
}

TEST_F(key_set_test, a_prefix_on_either_side)
{
    EXPECT_EQ(name_of("l", {{"k", "a"}}, {"m:k"}), "l[m:k=a]");
    EXPECT_EQ(name_of("l", {{"m:k", "a"}}, {"k"}), "l[k=a]");
    EXPECT_EQ(name_of("l", {{"m:k", "a"}}, {"m:k"}), "l[m:k=a]");
    EXPECT_EQ(captured_log_take(), log_lines{});
    EXPECT_EQ(name_of("l", {{"n:k", "a"}}, {"m:k"}), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] invalid key:n:k\n"}}));
}

TEST_F(key_set_test, prefixed_keys_stand_in_the_order_of_the_whole_names)
{
    EXPECT_EQ(name_of("l", {{"m:a", "1"}, {"b", "2"}}, {"m:a", "b"}), "l[b=2,m:a=1]");
    EXPECT_EQ(name_of("l", {{"a", "1"}, {"b", "2"}}, {"m:a", "b"}), "l[b=2,m:a=1]");
    EXPECT_EQ(name_of("l", {{"b", "2"}, {"m:a", "1"}}, {"a", "b"}), "l[a=1,b=2]");
    EXPECT_EQ(name_of("l", {{"m:a", "1"}, {"n:a", "2"}}, {"n:a", "m:a"}), "l[m:a=1,n:a=2]");
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(key_set_test, another_number_of_keys)
{
    EXPECT_EQ(name_of("l", {{"k", "a"}}, {"k", "j"}), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] expect 2 kvs but 1 in fact\n"}}));
    EXPECT_EQ(name_of("l", {{"k", "a"}, {"j", "b"}, {"i", "c"}}, {"k", "j"}), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] expect 2 kvs but 3 in fact\n"}}));
}

TEST_F(key_set_test, another_key)
{
    EXPECT_EQ(name_of("l", {{"x", "a"}}, {"k"}), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] invalid key:x\n"}}));
    EXPECT_EQ(name_of("l", {{"k", "a"}, {"k", "b"}}, {"j", "k"}), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] invalid key:k\n"}}));
    EXPECT_EQ(name_of("l", {{"%n%s", "a"}}, {"k"}), "(none)");
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] invalid key:%n%s\n"}}));
    EXPECT_EQ(name_of("l", {{"ke", "a"}}, {"key"}), "(none)");
    EXPECT_EQ(name_of("l", {{"key", "a"}}, {"ke"}), "(none)");
    EXPECT_EQ(name_of("l", {{"", "a"}}, {"k"}), "(none)");
}

TEST_F(key_set_test, a_list_without_keys_has_no_entries)
{
    EXPECT_EQ(name_of("l", {}, {}), "(none)");
}

TEST_F(key_set_test, a_set_that_lacks_a_pair)
{
    key_value_set set(2);
    key_names names;
    key_names_add(&names, "a");
    key_names_add(&names, "b");
    key_values_add(&set, "a", "1");
    EXPECT_EQ(entry_name("l", &set, &names), nullptr);
}

TEST_F(key_set_test, a_full_set)
{
    key_value_set set(1);
    EXPECT_EQ(key_values_add(&set, "a", "1"), 0);
    EXPECT_EQ(key_values_add(&set, "b", "2"), -1);
    EXPECT_EQ(captured_log_take(), (log_lines{{15, "[DEBUG] kvs is full\n"}}));
    EXPECT_STREQ(set.pair[0].key, "a");
    EXPECT_STREQ(set.pair[0].value, "1");
    key_value_set none(0);
    EXPECT_EQ(key_values_add(&none, "a", "1"), -1);
}

TEST_F(key_set_test, long_values)
{
    std::string value(100000, 'v');
    EXPECT_EQ(name_of("l", {{"k", value}, {"j", value}}, {"k", "j"}),
              "l[j=" + value + ",k=" + value + "]");
}

TEST_F(key_set_test, many_keys)
{
    pairs keys;
    std::vector<std::string> names;
    std::string wanted;
    for (int i = 100; i < 200; i++) {
        names.push_back("k" + std::to_string(i));
        keys.insert(keys.begin(), {names.back(), "v"});
        wanted += (wanted.empty() ? "l[" : ",") + names.back() + "=v";
    }
    EXPECT_EQ(name_of("l", keys, names), wanted + "]");
}

} // namespace
