// The edit that takes the place of a copy to running, and what it has to become.
#include "device/gateway/running_edit.h"

#include <gtest/gtest.h>
#include <string>

namespace
{

const std::string base = "urn:ietf:params:xml:ns:netconf:base:1.0";

std::string rpc(const std::string &inner)
{
    return "<rpc xmlns =\"" + base + "\" message-id =\"7\">\r\n" + inner + "</rpc>\r\n";
}

std::string from(const std::string &source)
{
    return rpc("  <copy-config>\r\n<target><running/></target><source>" + source +
               "</source>  </copy-config>\r\n");
}

std::string from_config(const std::string &content)
{
    return from("<config>" + content + "</config>");
}

std::string data(const std::string &inner)
{
    return "<rpc-reply message-id=\"r\" xmlns=\"" + base + "\"><data>" + inner +
           "</data></rpc-reply>";
}

// The edit, or "!" and what is in the way.
std::string edit(const std::string &request, const std::string &running,
                 const std::string &startup = "", bool again = false)
{
    byte_buffer out{};
    const running_source source{request, startup};
    const char *reason = running_edit_write(&source, running, again, &out);
    return reason != nullptr ? std::string("!") + reason : std::string(out.data.get(), out.size);
}

// What the edit of a copy-config is made of.
std::string edit_of(const std::string &config)
{
    return rpc("  <edit-config><target><running/></target>"
               "<error-option>rollback-on-error</error-option>" +
               config + "</edit-config>\r\n");
}

std::string operation(const std::string &name)
{
    return " xmlns:nc=\"" + base + "\" nc:operation=\"" + name + "\"";
}

const std::string spaces = " xmlns:n='" + base + "' xmlns='urn:1'";

// What the edit does with nodes of urn:1, running's first.
std::string edited(const std::string &running, const std::string &config, bool again = false)
{
    const std::string reply =
        "<n:rpc-reply" + spaces + "><n:data>" + running + "</n:data></n:rpc-reply>";
    return edit(from("<n:config" + spaces + ">" + config + "</n:config>"), reply, "", again);
}

std::string edited_to(const std::string &content)
{
    return edit_of("<n:config" + spaces + ">" + content + "</n:config>");
}

std::string removed(const std::string &name, const std::string &content)
{
    return "<" + name + spaces + operation("remove") + ">" + content + "</" + name + ">";
}

std::string replaced(const std::string &name, const std::string &content)
{
    return "<" + name + operation("replace") + ">" + content + "</" + name + ">";
}

// The name of a node at the top that differs, or "!" and what is in the way.
std::string difference(const std::string &running, const std::string &content)
{
    std::string_view name;
    const std::string request = from_config(content);
    const std::string reply = data(running);
    const running_source source{request, ""};
    const char *reason = running_edit_check(&source, reply, &name);
    return reason != nullptr ? std::string("!") + reason : std::string(name);
}

std::string user(const std::string &name, const std::string &role)
{
    return "<user><name>" + name + "</name><role>" + role + "</role></user>";
}

} // namespace

TEST(gateway_running_edit, each_node_of_the_configuration_replaces_the_one_that_is_there)
{
    EXPECT_EQ(edit(from_config("\r\n<a xmlns=\"urn:1\"><x>&lt;</x></a>\r\n<b xmlns='urn:2'/>"),
                   data("<b xmlns='urn:2'><y/></b>")),
              edit_of("<config><a" + operation("replace") + " xmlns=\"urn:1\"><x>&lt;</x></a><b" +
                      operation("replace") + " xmlns='urn:2'/></config>"));
    EXPECT_EQ(edited("<a><x>1</x></a>", "<a><x>1</x></a>"), edited_to(replaced("a", "<x>1</x>")));
    EXPECT_EQ(edited("<a>1</a><b>1</b>", "<a>1</a><b>2</b>"), edited_to(replaced("b", "2")))
        << "a value that is there stays";
}

TEST(gateway_running_edit, what_is_there_is_deleted_where_nothing_is_removed)
{
    const std::string request = from_config("");
    const std::string reply = data("<a xmlns='urn:1'>1</a>");
    const running_source source{request, "", true};
    byte_buffer out{};
    EXPECT_EQ(running_edit_write(&source, reply, false, &out), nullptr);
    EXPECT_EQ(byte_buffer_view(&out),
              edit_of("<config><a xmlns='urn:1'" + operation("delete") + ">1</a></config>"));
}

TEST(gateway_running_edit, what_the_configuration_lacks_is_removed)
{
    EXPECT_EQ(edited("<a><x>1</x></a><b>2</b><c/>", ""),
              edited_to(removed("a", "<x>1</x>") + removed("b", "2") + removed("c", "")));
    EXPECT_EQ(edit(from_config(""), data("<a xmlns='urn:1'/><a xmlns='urn:2'/><b xmlns=''/>")),
              edit_of("<config><a xmlns='urn:1'" + operation("remove") + "></a><a xmlns='urn:2'" +
                      operation("remove") + "></a><b xmlns=''" + operation("remove") +
                      "></b></config>"));
    EXPECT_EQ(edited("<a/>", "<a xmlns='urn:2'/>"),
              edited_to(removed("a", "") + "<a" + operation("replace") + " xmlns='urn:2'/>"));
}

TEST(gateway_running_edit, entries_that_come_first_in_both_stay)
{
    const std::string one = user("one", "viewer");
    const std::string two = user("two", "viewer");
    const std::string old = user("old", "administrator");
    const std::string gone = removed("user", "<name>old</name><role>administrator</role>");
    const std::string put = replaced("user", "<name>two</name><role>viewer</role>");
    EXPECT_EQ(edited(one + two, one + two), edited_to(""));
    EXPECT_EQ(edited(old + one + two, one + two), edited_to(gone));
    EXPECT_EQ(edited(one + old + two, one + two), edited_to(gone));
    EXPECT_EQ(edited(one + old, one + two), edited_to(gone + put));
    EXPECT_EQ(edited("", one + two),
              edited_to(replaced("user", "<name>one</name><role>viewer</role>") + put));
    EXPECT_EQ(edited(one + two, user("one", "administrator") + two),
              edited_to(removed("user", "<name>one</name><role>viewer</role>") +
                        removed("user", "<name>two</name><role>viewer</role>") +
                        replaced("user", "<name>one</name><role>administrator</role>") + put))
        << "what follows is put behind it again";
    EXPECT_EQ(edited("<v>1</v><v>2</v><v>3</v>", "<v>1</v><v>3</v><v>2</v>"),
              edited_to(removed("v", "2") + replaced("v", "2")));
}

TEST(gateway_running_edit, an_entry_is_removed_by_what_may_be_its_keys)
{
    const std::string entry = "<u><x xmlns='urn:2'>1</x><name>&#65;</name><in><deep/></in>"
                              "<v>1</v><v>2</v><v>3</v><flag/><w>4</w><long>" +
                              std::string(4096, 'x') + "</long><id>5</id></u>";
    EXPECT_EQ(edited(entry, ""),
              edited_to(removed("u", "<name>&#65;</name><flag/><w>4</w><id>5</id>")));
}

TEST(gateway_running_edit, a_list_that_cannot_be_told_from_a_container_takes_two_edits)
{
    const std::string old = user("old", "viewer");
    const std::string put = user("new", "viewer");
    EXPECT_EQ(edited(old, put), edited_to(replaced("user", "<name>new</name><role>viewer</role>")));
    EXPECT_EQ(edited(put + old, put),
              edited_to(removed("user", "<name>old</name><role>viewer</role>")));
}

TEST(gateway_running_edit, a_leaf_that_was_replaced_in_vain_is_removed_first)
{
    const bool again = true;
    EXPECT_EQ(edited("<a>1 2</a><b>3</b><c>1</c>", "<a>1</a><b>3</b><c>+1</c>", again),
              edited_to(removed("a", "1 2") + replaced("c", "+1")))
        << "one that differs for other reasons than how it is written";
    EXPECT_EQ(edited("", "<a>1</a>", again), edited_to(replaced("a", "1")));
    EXPECT_EQ(edited("<a><x>1</x></a>", "<a/>", again),
              edited_to("<a" + operation("replace") + "/>"))
        << "a container is no leaf";
}

TEST(gateway_running_edit, prefixes_keep_their_meaning)
{
    EXPECT_EQ(edit("<n:rpc xmlns:n='" + base +
                       "' message-id='1' xmlns:o='urn:o'><n:copy-config xmlns:m='" + base +
                       "'><m:source><m:config xmlns='urn:d' x='1'><o:a/><b/></m:config></m:source>"
                       "<m:target><n:running/></m:target></n:copy-config><!-- end --></n:rpc>",
                   "<m:rpc-reply xmlns:m='" + base +
                       "' message-id='1' xmlns='urn:d'><m:data xmlns:q='urn:q' xmlns='urn:e'>"
                       "<b xmlns='urn:d'/><q:a xmlns:q='urn:r'><q:k>1</q:k></q:a><c/></m:data>"
                       "</m:rpc-reply>"),
              "<n:rpc xmlns:n='" + base +
                  "' message-id='1' xmlns:o='urn:o'><n:edit-config xmlns:m='" + base +
                  "'><n:target><n:running/></n:target>"
                  "<n:error-option>rollback-on-error</n:error-option>"
                  "<m:config xmlns='urn:d' x='1'><q:a xmlns:q='urn:r' xmlns='urn:e' xmlns:m='" +
                  base + "'" + operation("remove") + "><q:k>1</q:k></q:a><c xmlns:q='urn:q'" +
                  " xmlns='urn:e' xmlns:m='" + base + "'" + operation("remove") + "></c><o:a" +
                  operation("replace") + "/></m:config></n:edit-config><!-- end --></n:rpc>");
}

TEST(gateway_running_edit, the_prefix_of_operations_means_nothing_else)
{
    const std::string other = " xmlns:nc='urn:x'";
    EXPECT_EQ(edited("", "<a" + other + "><nc:b/></a>"),
              edited_to("<a xmlns:netconf=\"" + base + "\" netconf:operation=\"replace\"" + other +
                        "><nc:b/></a>"));
    EXPECT_EQ(edited("", "<a xmlns:nc='" + base + "'/>"),
              edited_to("<a nc:operation=\"replace\" xmlns:nc='" + base + "'/>"));
    EXPECT_EQ(
        edited("", "<a" + other + " xmlns:netconf='urn:x' xmlns:edit='urn:x' xmlns:op='urn:x'/>"),
        "!no prefix is left for the edit's operations");
}

TEST(gateway_running_edit, startup_replaces_what_is_there)
{
    EXPECT_EQ(edit(from("<startup/>"), data("<a xmlns='urn:1'/><b xmlns='urn:1'/>"),
                   data("<a xmlns='urn:1'><x/></a>")),
              edit_of("<config xmlns=\"" + base + "\"><b xmlns='urn:1'" + operation("remove") +
                      "></b><a" + operation("replace") + " xmlns='urn:1'><x/></a></config>"));
    EXPECT_EQ(edit(from("<startup/>"), data("<b xmlns='urn:1'/>"),
                   "<m:rpc-reply message-id='x' xmlns:m='" + base +
                       "' xmlns='urn:d' xmlns:q=\"urn:q\"><m:data xmlns='urn:e' last='now'>"
                       "<a/><q:b/></m:data></m:rpc-reply>"),
              edit_of("<m:config xmlns='urn:e' xmlns:m='" + base +
                      "' xmlns:q=\"urn:q\"><b xmlns='urn:1'" + operation("remove") + "></b><a" +
                      operation("replace") + "/><q:b" + operation("replace") + "/></m:config>"));
    EXPECT_EQ(edit(from("<startup/>"), data("<a xmlns='urn:1'/>"),
                   "<rpc-reply xmlns='" + base + "'><data/></rpc-reply>"),
              edit_of("<config xmlns='" + base + "'><a xmlns='urn:1'" + operation("remove") +
                      "></a></config>"));
}

TEST(gateway_running_edit, a_configuration_with_operations_is_none)
{
    const std::string reason = "!the configuration holds operations of its own";
    EXPECT_EQ(edited("", "<a xmlns:x='" + base + "' x:operation='delete'/>"), reason);
    EXPECT_EQ(edited("", "<b/><a><c/><d xmlns:x='" + base + "' x:operation='delete'/></a>"),
              reason);
    EXPECT_EQ(edited("", "<a operation='x'/>"),
              edited_to("<a" + operation("replace") + " operation='x'/>"));
}

TEST(gateway_running_edit, replies_that_are_of_no_use)
{
    const std::string request = from_config("");
    const std::string nothing = "!the server gives no data";
    const std::string unreadable = "!the configuration cannot be followed";
    EXPECT_EQ(edit(request, ""), nothing);
    EXPECT_EQ(edit(request, "<rpc-reply xmlns='" + base + "'><ok/></rpc-reply>"), nothing);
    EXPECT_EQ(edit(request, "<rpc-reply xmlns='" + base + "'/>"), nothing);
    EXPECT_EQ(edit(from("<startup/>"), data(""), ""), nothing);
    EXPECT_EQ(edit(request, "<rpc-reply xmlns='" + base + "'><data><a></data></rpc-reply>"),
              unreadable);
    EXPECT_EQ(edit(request, data("<a/><p:a/>")), unreadable);
    EXPECT_EQ(edit(from_config("<a><p:a/></a>"), data("")), unreadable);
    EXPECT_EQ(edit(from("<running/>"), data("")), "!the request cannot be followed");
    std::string deep;
    for (int count = 0; count < 256; count++)
        deep = "<a>" + deep + "</a>";
    EXPECT_EQ(edited("", deep), edited_to("<a" + operation("replace") + deep.substr(2)));
    EXPECT_EQ(edited("", "<a>" + deep + "</a>"), unreadable);
}

TEST(gateway_running_edit, running_that_is_the_configuration)
{
    const std::string one = "<b xmlns='urn:1'>2</b><a xmlns='urn:1'><x>1</x><y> 2 </y></a>";
    const std::string other =
        "<q:a xmlns:q='urn:1'>\n<q:y>2</q:y><!-- --><q:x>&#49;</q:x>\n</q:a><b xmlns='urn:1'>"
        "<![CDATA[2]]></b>";
    EXPECT_EQ(difference(one, other), "");
    EXPECT_EQ(difference(other, one), "");
    EXPECT_EQ(difference("", ""), "");
    const std::string list = "<v xmlns='urn:1'>1</v><v xmlns='urn:1'>2</v>";
    EXPECT_EQ(difference(list, "<v xmlns='urn:1'>2</v><v xmlns='urn:1'>1</v>"), "")
        << "a server has an order of its own";
}

TEST(gateway_running_edit, running_that_is_not_the_configuration)
{
    const std::string node = "<a xmlns='urn:1'><x>1</x><y/></a>";
    const std::string entry = "<v xmlns='urn:1'>1</v>";
    EXPECT_EQ(difference(node, ""), "a");
    EXPECT_EQ(difference("", node), "a");
    EXPECT_EQ(difference(node, "<b xmlns='urn:1'/>" + node), "b");
    EXPECT_EQ(difference(node, "<a xmlns='urn:2'><x>1</x><y/></a>"), "a");
    EXPECT_EQ(difference(node, "<a xmlns='urn:1'><x>2</x><y/></a>"), "a");
    EXPECT_EQ(difference(node, "<a xmlns='urn:1'><x>1</x></a>"), "a");
    EXPECT_EQ(difference(node, "<a xmlns='urn:1'><x>1</x><y/><y/></a>"), "a");
    EXPECT_EQ(difference(node, "<a xmlns='urn:1'><z>1</z><y/></a>"), "a");
    EXPECT_EQ(difference(node, "<a xmlns='urn:1'><x><y>1</y></x></a>"), "a");
    EXPECT_EQ(difference(entry + entry, entry), "v");
    EXPECT_EQ(difference(entry + "<v xmlns='urn:1'>2</v>", entry + "<v xmlns='urn:1'>3</v>"), "v");
    EXPECT_EQ(difference("<p:a/>", ""), "!the configuration cannot be followed");
}

TEST(gateway_running_edit, many_entries_are_sorted_once)
{
    std::string entries;
    std::string removals;
    for (int number = 0; number < 20000; number++) {
        const std::string content = std::to_string(number);
        entries += "<v>" + content + "</v>";
        removals += removed("v", content);
    }
    EXPECT_TRUE(edited(entries, "<v>0</v>") ==
                edited_to(removals.substr(removed("v", "0").size())));
}

TEST(gateway_running_edit, a_long_request_is_gone_through_a_few_times)
{
    const std::string long_value(8 << 20, 'x');
    const std::string content = "<x>" + long_value + "</x>";
    EXPECT_TRUE(edited("", "<a>" + content + "</a>") == edited_to(replaced("a", content)));
    std::string leaves;
    for (int count = 0; count < 200000; count++)
        leaves += "<x y='/'>1</x><z/>";
    EXPECT_TRUE(edited("<a>" + leaves + "</a>", "<a>" + leaves + "</a>") ==
                edited_to(replaced("a", leaves)));
}

TEST(gateway_running_edit, namespaces_beyond_a_limit)
{
    std::string spaces;
    for (int number = 0; number < 250; number++)
        spaces += " xmlns:n" + std::to_string(number) + "='u'";
    const std::string few = "<a xmlns='urn:1'" + spaces + "/>";
    const std::string many = "<a xmlns='urn:1'" + spaces +
                             " xmlns:a='u' xmlns:b='u' xmlns:c='u' xmlns:d='u' xmlns:e='u'/>";
    const std::string unreadable = "!the configuration cannot be followed";
    EXPECT_NE(edit(from_config(few), data(few)), unreadable);
    EXPECT_EQ(edit(from_config(many), data("")), unreadable);
    EXPECT_EQ(edit(from_config(""), data(many)), unreadable);
    EXPECT_EQ(difference(many, ""), unreadable);
}

TEST(gateway_running_edit, an_edit_grows_with_what_it_is_made_of)
{
    std::string spaces;
    for (int number = 0; number < 100; number++)
        spaces += " xmlns:n" + std::to_string(number) + "='" + std::string(16, 'u') + "'";
    std::string entries;
    for (int number = 0; number < 1000; number++)
        entries += "<v/>";
    EXPECT_EQ(edit(from_config(""), "<rpc-reply xmlns='" + base + "'><data" + spaces + ">" +
                                        entries + "</data></rpc-reply>"),
              "!the edit would be too long")
        << "each removal would hold all namespaces";
}

TEST(gateway_running_edit, more_nodes_at_the_top_than_a_device_has)
{
    std::string entries;
    for (int number = 0; number <= 1 << 20; number++)
        entries += "<v/>";
    EXPECT_EQ(difference(entries, ""), "!the configuration cannot be followed");
}
