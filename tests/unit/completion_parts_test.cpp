// What Tab and '?' are made of: words of the line, candidate lists, prefixes.
#include <set>

#include "complete/candidates.h"
#include "complete/line_scan.h"
#include "complete/match_list.h"
#include "complete/schema_matches.h"
#include "schema/records.h"
#include "tests/support/completion_world.h"

namespace
{

std::function<void(tinyrl *)> on_key;

bool call_on_key(tinyrl *editor, int /*key*/)
{
    on_key(editor);
    return true;
}

// Calls an action on lines while they are edited.
class completion_parts : public completion_world
{
  protected:
    struck edit(const std::string &line, const std::function<void(tinyrl *)> &action)
    {
        on_key = action;
        tinyrl_bind_key(editing->editor, 24, call_on_key);
        return strike(line, 24);
    }

    // The command, what stands after it, the word before the cursor, and
    // whether that is the command, as one text.
    std::string scan(const std::string &line, quoted_blanks quoted = quoted_blanks_part)
    {
        std::string found;
        edit(line, [&](tinyrl *editor) {
            line_scan result = {};
            ASSERT_EQ(line_scan_read(editor, quoted, &result), 0);
            EXPECT_EQ(result.point, tinyrl_get_point(editor));
            found = std::string(command_word(&result)) + "," + std::string(words_before(&result)) +
                    "," + std::string(typed_text(editor, result.word_start)) +
                    (in_command_word(&result) ? ",command" : "");
        });
        return found;
    }
};

constexpr size_t many = 300000;

size_t offset_in(const std::string &word)
{
    size_t offset = 99;
    EXPECT_EQ(last_component_offset(word, &offset), 0);
    return offset;
}

std::string all_of(const match_list &list)
{
    std::string text;
    for (size_t i = 0; list.entry != nullptr && list.entry[i] != nullptr; i++)
        text += std::string(list.entry[i]) + ";";
    return text;
}

} // namespace

TEST_F(completion_parts, words_of_a_line)
{
    EXPECT_EQ(scan(""), ",,,command");
    EXPECT_EQ(scan("   "), ",,,command");
    EXPECT_EQ(scan(" | "), ",,,command");
    EXPECT_EQ(scan("| "), ",,,command");
    EXPECT_EQ(scan("cd"), "cd,,cd,command");
    EXPECT_EQ(scan("c|d"), "c,,c,command");
    EXPECT_EQ(scan("|cd"), ",,,command");
    EXPECT_EQ(scan("  |cd"), ",,,command");
    EXPECT_EQ(scan(" | cd"), ",,");
    EXPECT_EQ(scan("| cd x"), ",,");
    EXPECT_EQ(scan("cd "), "cd, ,");
    EXPECT_EQ(scan("cd|  x"), "cd,,cd,command");
    EXPECT_EQ(scan("cd |x"), "cd, ,");
    EXPECT_EQ(scan("cd |  x"), "cd, ,");
    EXPECT_EQ(scan("  set  a/b   val|ue"), "set,  a/b   ,val");
    EXPECT_EQ(scan("set 'a b' c"), "set, 'a b' ,c");
}

TEST_F(completion_parts, quoted_blanks_join_words)
{
    EXPECT_EQ(scan("set \"a b\""), "set, \"a ,b\"");
    EXPECT_EQ(scan("set \"a b\"", quoted_blanks_join), "set, ,\"a b\"");
    EXPECT_EQ(scan("set 'a b' 'c  d' e", quoted_blanks_join), "set, 'a\3b' 'c\3\3d' ,e");
    EXPECT_EQ(scan("set \"a b", quoted_blanks_join), "set, \"a ,b");
    EXPECT_EQ(scan("set \"a| b\"", quoted_blanks_join), "set, ,\"a");
    EXPECT_EQ(scan("set it's a 'b c", quoted_blanks_join), "set, it's\3a\3'b ,c");
    EXPECT_EQ(scan("\"a b\" c", quoted_blanks_join), "\"a\3b\", ,c");
}

TEST_F(completion_parts, words_are_taken_one_by_one)
{
    std::string_view rest = " \t a\v\fbc\r\nd ";
    std::string_view word;
    std::string words;
    while (next_word(&rest, &word))
        words += std::string(word) + ";";
    EXPECT_EQ(words, "a;bc;d;");
    EXPECT_FALSE(next_word(&rest, &word));
}

TEST_F(completion_parts, typed_text_ends_at_the_cursor)
{
    edit("set ab|cd", [](tinyrl *editor) {
        EXPECT_EQ(typed_text(editor, 4), "ab");
        EXPECT_EQ(typed_text(editor, 6), "");
        EXPECT_EQ(typed_text(editor, 7), "");
        EXPECT_EQ(typed_text(editor, SIZE_MAX), "");
    });
}

TEST_F(completion_parts, the_last_component_begins_after_a_slash_of_the_path)
{
    EXPECT_EQ(offset_in(""), 0U);
    EXPECT_EQ(offset_in("abc"), 0U);
    EXPECT_EQ(offset_in("/"), 1U);
    EXPECT_EQ(offset_in("/abc"), 1U);
    EXPECT_EQ(offset_in("a/b"), 2U);
    EXPECT_EQ(offset_in("a/b/"), 4U);
    EXPECT_EQ(offset_in("//x"), 2U);
    EXPECT_EQ(offset_in("l[k=1]/x"), 7U);
    EXPECT_EQ(offset_in("l[k=1/2]/x"), 9U);
    EXPECT_EQ(offset_in("l[k=1/2]"), 0U);
    EXPECT_EQ(offset_in("a/l[k=1/2]"), 2U);
    EXPECT_EQ(offset_in("l[k=\"a/b\"]/x"), 11U);
    EXPECT_EQ(offset_in("l[k=\"]/\"]/x"), 10U);
    EXPECT_EQ(offset_in("l[a=1/2,b=3]/x"), 13U);
}

TEST_F(completion_parts, an_unfinished_key_value_makes_the_word_one_component)
{
    EXPECT_EQ(offset_in("l[k=1/2"), 0U);
    EXPECT_EQ(offset_in("a/l[k=1/2"), 0U);
    EXPECT_EQ(offset_in("l[k=/"), 0U);
    EXPECT_EQ(offset_in("=/"), 0U);
    EXPECT_EQ(offset_in("l[a=1/2,b=3/4"), 0U);
    EXPECT_EQ(offset_in("l[a=1/2,b=3"), 0U);
    EXPECT_EQ(offset_in("l[k=\"a]/b\"/c"), 0U);
    EXPECT_EQ(offset_in("a/l[k="), 2U);
    EXPECT_EQ(offset_in("a/b=c"), 2U);
    EXPECT_EQ(offset_in("a=b/c=d"), 4U);
    EXPECT_EQ(offset_in("l[k=1]/m[n=1/2"), 13U);
    EXPECT_EQ(offset_in("\"=\"/x"), 4U);
}

TEST_F(completion_parts, candidates_begin_with_what_is_typed)
{
    edit("set ab|cd", [](tinyrl *editor) {
        match_list list;
        EXPECT_EQ(list.entry, nullptr);
        for (const char *candidate : {"abc", "a", "", "b", "ab", "zab", "abc", "AB"})
            EXPECT_EQ(match_add(editor, 4, &list, candidate), 0);
        EXPECT_EQ(all_of(list), "abc;ab;abc;");
        EXPECT_EQ(list.count, 3U);
        match_list_free(&list);
        EXPECT_EQ(list.entry, nullptr);
        EXPECT_EQ(list.count, 0U);
        EXPECT_EQ(match_add(editor, 6, &list, "z"), 0);
        EXPECT_EQ(match_add(editor, 6, &list, ""), 0);
        EXPECT_EQ(all_of(list), "z;;");
    });
}

TEST_F(completion_parts, a_list_moves_a_few_times_while_it_grows)
{
    edit("set |", [](tinyrl *editor) {
        match_list list;
        std::set<size_t> capacities;
        for (size_t i = 0; i < many; i++) {
            ASSERT_EQ(match_add(editor, 4, &list, "candidate"), 0);
            capacities.insert(list.capacity);
        }
        EXPECT_EQ(list.count, many);
        EXPECT_EQ(list.entry[many], nullptr);
        EXPECT_LE(capacities.size(), 20U);
    });
}

TEST_F(completion_parts, a_line_for_each_candidate)
{
    const struck result = edit("set |", [](tinyrl *editor) {
        match_list list;
        EXPECT_EQ(match_list_append(&list, "a", "first"), 0);
        EXPECT_EQ(match_list_append(&list, "long", ""), 0);
        EXPECT_EQ(match_add(editor, 4, &list, "b\033", "\033[2J"), 0);
        EXPECT_EQ(match_add(editor, 4, &list, "c"), 0);
        match_list_print(editor, &list);
    });
    EXPECT_EQ(result.written, "  a       first\n  long    \n  b?      ?[2J\n  c       \n");
}

TEST_F(completion_parts, names_of_schema_matches)
{
    struct {
        unsigned kind;
        const char *name;
    } const rows[] = {{0, "n/"}, {1, "n/"}, {2, "n"},  {3, "n"},   {4, "n/"}, {6, "n/"},
                      {7, "n/"}, {8, "n/"}, {9, "n/"}, {10, "n/"}, {31, "n/"}};
    match_list list;
    EXPECT_EQ(list.entry, nullptr);
    for (const auto &row : rows) {
        const std::string bytes = fake_node_record(static_cast<int>(row.kind), true, "", "");
        const record_ptr record = record_copy(bytes);
        ASSERT_EQ(aug_option_add_match(&list, "n", "n", record.get()), 0);
        EXPECT_STREQ(list.entry[list.count - 1], row.name);
        EXPECT_EQ(list.entry[list.count], nullptr);
    }
}

TEST_F(completion_parts, schema_matches_begin_with_the_prefix_and_carry_their_help)
{
    const std::string bytes = fake_node_record(fake_leaf, true, "string", "What it is.");
    const record_ptr record = record_copy(bytes);
    match_list list;
    for (const char *prefix : {"na", "names", "x", "name", ""})
        EXPECT_EQ(aug_option_add_match(&list, prefix, "name", record.get()), 0);
    ASSERT_EQ(list.count, 3U);
    for (size_t i = 0; i < 3; i++) {
        EXPECT_STREQ(list.entry[i], "name");
        EXPECT_STREQ(list.entry[i] + sizeof "name", "What it is.");
    }
}

TEST_F(completion_parts, what_all_begin_with)
{
    std::vector<std::string> candidates;
    const auto common_with = [&](const char *candidate) {
        candidates.emplace_back(candidate);
        std::vector<char *> matches;
        for (std::string &text : candidates)
            matches.push_back(text.data());
        matches.push_back(nullptr);
        return tinyrl_common_length(matches.data());
    };
    EXPECT_EQ(common_with("station"), 7U);
    EXPECT_EQ(common_with("stationary"), 7U);
    EXPECT_EQ(common_with("state"), 4U);
    EXPECT_EQ(common_with("stationary"), 4U);
    EXPECT_EQ(common_with("st"), 2U);
    EXPECT_EQ(common_with("x"), 0U);
}

TEST_F(completion_parts, the_prefix_replaces_what_is_typed)
{
    // Of "state" and another candidate, with which it has `length` bytes in common.
    const auto insert = [this](const std::string &line, size_t start, size_t length) {
        return edit(line,
                    [=](tinyrl *editor) {
                        match_list list;
                        match_list_append(&list, "state", "");
                        match_list_append(&list, std::string("state", length) + "~", "");
                        match_list_insert_common(editor, start, &list);
                    })
            .line;
    };
    EXPECT_EQ(insert("set s", 4, 5), "set state|");
    EXPECT_EQ(insert("set ", 4, 3), "set sta|");
    EXPECT_EQ(insert("set sta", 4, 3), "set sta|");
    EXPECT_EQ(insert("set states", 4, 5), "set states|");
    EXPECT_EQ(insert("set x", 4, 5), "set state|");
    EXPECT_EQ(insert("set xyz", 4, 0), "set xyz|");
    EXPECT_EQ(insert("set st|op x", 4, 5), "set state|p x");
    EXPECT_EQ(insert("set stat|e x", 4, 4), "set stat|e x");
    EXPECT_TRUE(errors().empty());
}

TEST_F(completion_parts, a_prefix_of_nothing_changes_nothing)
{
    const struck result = edit("set a|b", [](tinyrl *editor) {
        const match_list list;
        match_list_insert_common(editor, 4, &list);
    });
    EXPECT_EQ(result.line, "set a|b");
}

TEST_F(completion_parts, a_prefix_that_cannot_be_inserted_is_logged)
{
    edit("set s", [](tinyrl *editor) {
        tinyrl_get_settings(editor)->max_line_length = 6;
        match_list list;
        match_list_append(&list, "state%s%n", "");
        match_list_append(&list, "state%s%", "");
        match_list_insert_common(editor, 4, &list);
        tinyrl_get_settings(editor)->max_line_length = 0;
    });
    EXPECT_EQ(errors(),
              std::vector<std::string>{"[ERROR] tinyrl insert matches[0]=state%s%n len=8 fail.\n"});
}

TEST_F(completion_parts, an_argument_without_values_is_logged)
{
    edit("import-config f ", [](tinyrl *editor) {
        constexpr arg_desc argument = {"file", "help", "datastore", nullptr, nullptr, nullptr};
        match_list list;
        EXPECT_EQ(add_range_values(editor, 16, &argument, "", &list), 0);
        EXPECT_EQ(add_range_values(editor, 16, nullptr, "", &list), 0);
        EXPECT_EQ(list.count, 0U);
    });
    EXPECT_EQ(errors(),
              (std::vector<std::string>{"[ERROR] range is NULL.\n", "[ERROR] range is NULL.\n"}));
}

TEST_F(completion_parts, arguments_of_a_command_by_number)
{
    const cmd_entry *copy = &command_table[command_copy_config];
    EXPECT_STREQ(command_argument(copy, 0)->name, "source");
    EXPECT_STREQ(command_argument(copy, 1)->name, "target");
    EXPECT_EQ(command_argument(copy, 2), nullptr);
    EXPECT_EQ(command_argument(copy, 99), nullptr);
    EXPECT_EQ(command_argument(&command_table[command_ls], 0), nullptr);
}
