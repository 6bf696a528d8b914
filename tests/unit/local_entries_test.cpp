// The store of list entries that are not yet committed.
#include "cmdtree/local_entries.h"

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "base/session.h"

namespace
{

class local_entries_test : public testing::Test
{
  protected:
    void SetUp() override
    {
        session = session_record();
    }

    void TearDown() override
    {
        local_entries_forget(nullptr, nullptr);
    }

    // "path:key,key;" of every record, in store order; checks the links.
    static std::string store()
    {
        if (session.entries == nullptr)
            return "(none)";
        std::string text;
        list_record **link = session.entries;
        for (list_record *record = *link; record != nullptr; record = record->next) {
            EXPECT_EQ(record->pprev, link);
            link = &record->next;
            text += std::string(record->path) + ":";
            list_entry **entry_link = &record->entries;
            for (list_entry *entry = record->entries; entry != nullptr; entry = entry->next) {
                EXPECT_EQ(entry->pprev, entry_link);
                entry_link = &entry->next;
                text += std::string(entry->key) + (entry->next != nullptr ? "," : "");
            }
            text += ";";
        }
        return text;
    }
};

TEST_F(local_entries_test, an_unused_store_has_nothing)
{
    EXPECT_EQ(local_entries_has("/m/l", "l[k=1]"), 0);
    local_entries_forget("/m", nullptr);
    local_entries_forget("/m", "x");
    local_entries_forget(nullptr, "x");
    local_entries_forget(nullptr, nullptr);
    EXPECT_EQ(store(), "(none)");
}

TEST_F(local_entries_test, newest_first)
{
    EXPECT_EQ(local_entries_add("/m/a", "1"), 0);
    EXPECT_EQ(local_entries_add("/m/b", "2"), 0);
    EXPECT_EQ(local_entries_add("/m/a", "3"), 0);
    EXPECT_EQ(local_entries_add("/m/a", "4"), 0);
    EXPECT_EQ(store(), "/m/b:2;/m/a:4,3,1;");
    EXPECT_EQ(local_entries_has("/m/a", "3"), 1);
    EXPECT_EQ(local_entries_has("/m/b", "3"), 0);
    EXPECT_EQ(local_entries_has("/m", "1"), 0);
    EXPECT_EQ(local_entries_has("/m/A", "1"), 0);
    EXPECT_EQ(local_entries_has("/m/a", ""), 0);
}

TEST_F(local_entries_test, the_same_entry_twice_is_one)
{
    EXPECT_EQ(local_entries_add("/m/a", "1"), 0);
    EXPECT_EQ(local_entries_add("/m/a", "1"), 0);
    EXPECT_EQ(store(), "/m/a:1;");
}

TEST_F(local_entries_test, texts_are_copied)
{
    char path[] = "/m/a";
    char key[] = "k";
    local_entries_add(path, key);
    path[1] = 'x';
    key[0] = 'x';
    EXPECT_EQ(store(), "/m/a:k;");
}

TEST_F(local_entries_test, forgetting_by_path)
{
    for (const char *path : {"/m/l", "/m/l/x", "/m/list2", "/m", "/n"}) {
        local_entries_add(path, "1");
        local_entries_add(path, "2");
    }
    local_entries_forget("/m/l", nullptr);
    EXPECT_EQ(store(), "/n:2,1;/m:2,1;/m/list2:2,1;");
    local_entries_forget("/m", nullptr);
    EXPECT_EQ(store(), "/n:2,1;");
    local_entries_forget("/n", nullptr);
    EXPECT_EQ(store(), ""); // the head stays
    EXPECT_NE(session.entries, nullptr);
    EXPECT_EQ(local_entries_add("/n", "1"), 0);
    EXPECT_EQ(store(), "/n:1;");
}

TEST_F(local_entries_test, a_prefix_with_a_bracket_does_not_match)
{
    local_entries_add("/m/l[k=1]/in", "1");
    local_entries_forget("/m/l", nullptr);
    EXPECT_EQ(store(), "/m/l[k=1]/in:1;");
    local_entries_forget("/m/l[k=1]", nullptr);
    EXPECT_EQ(store(), "");
}

TEST_F(local_entries_test, forgetting_one_key_in_store_order)
{
    local_entries_add("/m/l", "k");
    local_entries_add("/m/l", "j");
    local_entries_add("/m/l/x", "k");
    local_entries_add("/m/list2", "k");
    local_entries_forget("/m/l", "k");
    EXPECT_EQ(store(), "/m/list2:k;/m/l/x:;/m/l:j,k;");
    local_entries_forget("/m/l", "k");
    EXPECT_EQ(store(), "/m/list2:k;/m/l/x:;/m/l:j;");
    local_entries_forget("/m/l", "k");
    EXPECT_EQ(store(), "/m/list2:k;/m/l/x:;/m/l:j;");
    local_entries_forget("/m/l", "j");
    EXPECT_EQ(store(), "/m/list2:k;/m/l/x:;/m/l:;");
}

TEST_F(local_entries_test, forgetting_a_key_without_a_path_ends_the_store)
{
    local_entries_add("/m/l", "k");
    local_entries_add("/n/l", "k");
    local_entries_forget(nullptr, "k");
    // The first match ends the whole operation; nothing after it is touched.
    EXPECT_EQ(store(), "/n/l:;/m/l:k;");
}

TEST_F(local_entries_test, forgetting_everything)
{
    local_entries_add("/m/l", "k");
    local_entries_add("/n/l", "k");
    local_entries_forget(nullptr, nullptr);
    EXPECT_EQ(store(), "(none)");
    EXPECT_EQ(local_entries_add("/n", "1"), 0);
    EXPECT_EQ(store(), "/n:1;");
}

TEST_F(local_entries_test, many_lists_are_forgotten_in_good_time)
{
    for (int i = 0; i < 3000; i++) {
        std::string path = "/m/l[k=" + std::to_string(i) + "]/in";
        local_entries_add(path.c_str(), "x");
    }
    local_entries_forget("/m/l[k=5]", nullptr);
    local_entries_forget(nullptr, nullptr);
    EXPECT_EQ(store(), "(none)");
}

// The rules of the store, walked.
struct model_record {
    std::string path;
    std::vector<std::string> keys; // newest first
};

using store_model = std::vector<model_record>; // newest first

bool lies_at_or_below(const std::string &path, const std::string &above)
{
    return above.empty() || path == above || path.rfind(above + "/", 0) == 0;
}

void model_add(store_model *model, const std::string &path, const std::string &key)
{
    auto record = model->begin();
    while (record != model->end() && record->path != path)
        ++record;
    if (record == model->end())
        record = model->insert(model->begin(), {path, {}});
    for (const std::string &present : record->keys) {
        if (present == key)
            return;
    }
    record->keys.insert(record->keys.begin(), key);
}

void model_forget(store_model *model, const std::string &path, const char *key)
{
    for (auto record = model->begin(); record != model->end();) {
        if (!lies_at_or_below(record->path, path)) {
            ++record;
        } else if (key == nullptr) {
            record = model->erase(record);
        } else {
            for (auto present = record->keys.begin(); present != record->keys.end(); ++present) {
                if (*present == key) {
                    record->keys.erase(present);
                    return;
                }
            }
            ++record;
        }
    }
}

std::string text_of(const store_model &model)
{
    std::string text;
    for (const model_record &record : model) {
        text += record.path + ":";
        for (size_t i = 0; i < record.keys.size(); i++)
            text += (i > 0 ? "," : "") + record.keys[i];
        text += ";";
    }
    return text;
}

TEST_F(local_entries_test, does_what_a_walk_would_do)
{
    const char *const paths[] = {"/m",         "/m/l",        "/m/l/x",   "/m/l/x/y", "/m/l[k=1]",
                                 "/m/l[k=1]/", "/m/l\x01",    "/m/l\xc3", "/m/l-x",   "/m/l.x/y",
                                 "/m/l0",      "/m/l[k=1]/i", "/n",       "/",        "/m/"};
    const char *const keys[] = {"a", "b", "ab", "", "\xc3"};
    std::mt19937 random(1);
    const auto pick = [&random](const auto &texts) { return texts[random() % std::size(texts)]; };
    local_entries_add("/m", "a");
    store_model model = {{"/m", {"a"}}};
    for (int i = 0; i < 5000; i++) {
        const char *path = pick(paths);
        const char *key = pick(keys);
        const auto choice = random() % 16;
        if (choice < 11) {
            EXPECT_EQ(local_entries_add(path, key), 0);
            model_add(&model, path, key);
        } else if (choice < 15) {
            local_entries_forget(choice < 14 ? path : nullptr, key);
            model_forget(&model, choice < 14 ? path : "", key);
        } else {
            local_entries_forget(path, nullptr);
            model_forget(&model, path, nullptr);
        }
        ASSERT_EQ(store(), text_of(model));
    }
}

} // namespace
