// Look-ups in the schema database.
#include "schema/database.h"

#include "tests/support/shell_world.h"

namespace
{

class database_test : public shell_world
{
  protected:
    void SetUp() override
    {
        shell_world::SetUp();
        sample_schema();
    }

    // The kind of the node found at a path; "module", or "none".
    static std::string found(const char *path)
    {
        const record_ptr record = node_record(path);
        if (module_is_known(*path == '/' ? path + 1 : "")) {
            EXPECT_EQ(record, nullptr);
            return "module";
        }
        return record ? std::to_string(record_kind(record.get())) : "none";
    }

    static std::string text(const heap_text &owned)
    {
        return owned ? owned.get() : "(none)";
    }
};

TEST_F(database_test, connecting_selects_database_4)
{
    redis_freeconn(session.redis);
    session.redis = nullptr;
    EXPECT_EQ(schema_connect(), 0);
    EXPECT_NE(session.redis, nullptr);
    EXPECT_EQ(fake_redis_database(), 4);
    redis_freeconn(session.redis);
    fake_redis_reset();
    fake_redis_set_reachable(false);
    EXPECT_EQ(schema_connect(), -1);
    EXPECT_EQ(session.redis, nullptr);
    EXPECT_EQ(fake_redis_database(), 4); // asked for before it is known whether there is one
    EXPECT_EQ(captured_log_take(), log_lines{});
}

TEST_F(database_test, records_by_schema_path)
{
    EXPECT_EQ(found("/m"), "module");
    EXPECT_EQ(found("/m/c"), "1");
    EXPECT_EQ(found("/m/c/x"), "2");
    EXPECT_EQ(found("/m/c/ch"), "5");
    EXPECT_EQ(found("/m/c/ch/ca"), "6");
    EXPECT_EQ(found("/m/c/ch/ca/a1"), "2");
    EXPECT_EQ(found("/m/r/input"), "8");
    EXPECT_EQ(found("/m/c/o:box/lid"), "2");
    EXPECT_EQ(found("/m/c/nix"), "none");
    EXPECT_EQ(found("/nix"), "none");
    EXPECT_EQ(found("/nix/c"), "none");
    EXPECT_EQ(found("/"), "none");
    EXPECT_EQ(found(""), "none");
    EXPECT_EQ(found("m"), "none");
    EXPECT_EQ(found("m/c"), "none");
}

TEST_F(database_test, a_predicate_of_the_last_component_is_cut)
{
    EXPECT_EQ(found("/m/c/l"), "4");
    EXPECT_EQ(found("/m/c/l[]"), "4");
    EXPECT_EQ(found("/m/c/l[name=1]"), "4");
    EXPECT_EQ(found("/m/c/l[]/v"), "2");
    EXPECT_EQ(found("/m/c/l/v"), "none"); // the list's own hash holds its keys
    EXPECT_EQ(found("/m/c/l/name"), "2");
    char path[] = "/m/c/l[name=1]";
    found(path);
    EXPECT_STREQ(path, "/m/c/l[name=1]");
}

TEST_F(database_test, a_module_record_needs_43_bytes)
{
    fake_redis_put("/", "short", std::string(42, 'x'));
    fake_redis_put("/", "bare", std::string(43, 'x'));
    EXPECT_EQ(found("/short"), "none");
    EXPECT_EQ(found("/bare"), "module");
    EXPECT_EQ(text(module_namespace("short")), "(none)");
    EXPECT_EQ(text(module_namespace("bare")), "");
    EXPECT_EQ(text(path_namespace("/bare/c")), "");
}

TEST_F(database_test, a_node_record_needs_20_bytes)
{
    fake_redis_put("/m", "short", std::string(19, '\0'));
    fake_redis_put("/m", "bare", std::string(20, '\0'));
    EXPECT_EQ(found("/m/short"), "none");
    EXPECT_EQ(found("/m/bare"), "0");
    fake_redis_put("/m", "empty", "");
    EXPECT_EQ(found("/m/empty"), "none");
}

TEST_F(database_test, records_are_copied_whole)
{
    std::string bytes = fake_node_record(fake_leaf, true, "union", "text") + "tail";
    fake_redis_put("/m", "big", bytes);
    const record_ptr record = node_record("/m/big");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->size, bytes.size());
    EXPECT_EQ(memcmp(record.get() + 1, bytes.data(), bytes.size()), 0);
}

TEST_F(database_test, namespaces)
{
    EXPECT_EQ(text(module_namespace("m")), "urn:m");
    EXPECT_EQ(text(module_namespace("nix")), "(none)");
    EXPECT_EQ(text(module_namespace({})), "(none)");
    EXPECT_EQ(text(path_namespace("/o/oc/leaf")), "urn:o");
    EXPECT_EQ(text(path_namespace("/o")), "urn:o");
    EXPECT_EQ(text(path_namespace("/")), "(none)");
    EXPECT_EQ(text(path_namespace(nullptr)), "(none)");
    EXPECT_EQ(text(path_namespace("/m/o:box")), "urn:m");
}

TEST_F(database_test, existence)
{
    EXPECT_TRUE(schema_has_field("/m/c", "x"));
    EXPECT_TRUE(schema_has_field("/m/c", "l[]"));
    EXPECT_TRUE(schema_has_field("/m/c", "l[k=v]"));
    EXPECT_FALSE(schema_has_field("/m/c", "nix"));
    EXPECT_FALSE(schema_has_field("/nix", "x"));
    EXPECT_TRUE(schema_path_exists("/"));
    EXPECT_TRUE(schema_path_exists("/m"));
    EXPECT_TRUE(schema_path_exists("/m/c/l[]"));
    EXPECT_TRUE(schema_path_exists("/m/c/l[]/v"));
    EXPECT_FALSE(schema_path_exists("/nix"));
    EXPECT_FALSE(schema_path_exists(""));
    // A field that is too short to be a record is there all the same.
    fake_redis_put("/m", "short", "x");
    EXPECT_TRUE(schema_path_exists("/m/short"));
}

TEST_F(database_test, replies_that_hold_no_string_are_absent)
{
    for (fake_reply reply : {fake_reply_null, fake_reply_nil, fake_reply_error, fake_reply_integer,
                             fake_reply_empty_array, fake_reply_odd, fake_reply_mixed}) {
        fake_redis_answer("/m", reply);
        fake_redis_answer("/", reply);
        EXPECT_EQ(found("/m/c"), "none");
        EXPECT_EQ(found("/m"), "none");
        EXPECT_FALSE(schema_has_field("/m", "c"));
        EXPECT_FALSE(schema_path_exists("/m/c"));
        EXPECT_EQ(module_namespace("m"), nullptr);
        EXPECT_EQ(rpc_input_name("/m"), nullptr);
    }
}

// A library may go by it instead of the length.
TEST_F(database_test, a_zero_byte_follows_each_name)
{
    found("/m/c/l[name=1]");
    schema_hash(std::string_view("/m/c/x", 4));
    EXPECT_EQ(fake_redis_unended_names(), 0);
}

TEST_F(database_test, whole_hashes)
{
    hash_fields fields = schema_hash("/m/c/l2");
    ASSERT_EQ(fields.count, 2U);
    EXPECT_EQ(hash_field_name(fields, 0), "k2");
    EXPECT_EQ(hash_field_name(fields, 1), "k1");
    EXPECT_EQ(hash_field_value(fields, 0), fake_node_record(fake_leaf, true, "string"));
    EXPECT_EQ(schema_hash("/nix").reply, nullptr);
    EXPECT_EQ(schema_hash("/nix").count, 0U);
}

TEST_F(database_test, damaged_hashes)
{
    fake_redis_answer("/m", fake_reply_odd);
    EXPECT_EQ(schema_hash("/m").count, 0U);
    fake_redis_answer("/m", fake_reply_mixed);
    hash_fields fields = schema_hash("/m");
    ASSERT_EQ(fields.count, 1U);
    EXPECT_EQ(hash_field_name(fields, 0), "name");
    EXPECT_EQ(hash_field_value(fields, 0).data(), nullptr);
    for (fake_reply reply : {fake_reply_null, fake_reply_nil, fake_reply_error, fake_reply_integer,
                             fake_reply_empty_array}) {
        fake_redis_answer("/m", reply);
        EXPECT_EQ(schema_hash("/m").count, 0U);
    }
}

TEST_F(database_test, without_a_connection_everything_is_absent)
{
    redis_freeconn(session.redis);
    session.redis = nullptr;
    EXPECT_EQ(found("/m/c"), "none");
    EXPECT_EQ(schema_hash("/m").count, 0U);
    EXPECT_EQ(module_namespace("m"), nullptr);
    EXPECT_FALSE(schema_path_exists("/m"));
    EXPECT_TRUE(schema_path_exists("/"));
}

TEST_F(database_test, the_input_of_an_rpc)
{
    EXPECT_EQ(text(rpc_input_name("/m/r")), "input");
    EXPECT_EQ(text(rpc_input_name("/m/bare")), "(none)");
    EXPECT_EQ(text(rpc_input_name("/m/c")), "(none)");
    fake_redis_put("/m/odd", "short", std::string("\0\2", 2)); // kind 8, but too short
    fake_redis_put_node("/m/odd", "x", fake_leaf);
    fake_redis_put_node("/m/odd", "a/b", fake_input); // where it leads to is made up
    fake_redis_put_node("/m/odd", "in2", fake_input);
    fake_redis_put_node("/m/odd", "in3", fake_input);
    EXPECT_EQ(text(rpc_input_name("/m/odd")), "in2");
}

} // namespace
