// Loading libxml2, which fails until it is there, whole, and has memory.
#include "link/xml_library.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <thread>

#include "link/xml_root.h"
#include "link/xpath.h"
#include "tests/support/captured_log.h"

namespace
{

bool is_missing;
std::string missing_function;
bool is_full; // the memory
int loads;

const std::string notification =
    "<notification xmlns=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"/>";

int looks_like_notification()
{
    return is_notification(notification.data(), notification.size());
}

// What stands in the log of one more try, without which the first tag decides.
std::string said()
{
    captured_log_take();
    EXPECT_EQ(looks_like_notification(), 1);
    const log_lines lines = captured_log_take();
    EXPECT_EQ(lines.back(), (log_lines::value_type{15, "[DEBUG] parse xml err.\n"}));
    return lines.size() == 2 ? lines[0].second : "";
}

} // namespace

extern "C" {
void *__real_dlopen(const char *name, int flags);
void *__wrap_dlopen(const char *name, int flags)
{
    loads++;
    return __real_dlopen(is_missing ? "libno.so" : name, flags);
}
void *__real_dlsym(void *from, const char *name);
void *__wrap_dlsym(void *from, const char *name)
{
    return __real_dlsym(from, missing_function == name ? "no_function" : name);
}
void *__real_malloc(size_t size);
void *__wrap_malloc(size_t size)
{
    return is_full ? nullptr : __real_malloc(size);
}
}

namespace
{

TEST(xml_library_test, is_tried_until_it_is_there_and_then_kept)
{
    const std::string refusal = "[DEBUG] libxml2 cannot be loaded: ";
    is_full = true;
    EXPECT_EQ(said(), "");
    is_full = false;
    EXPECT_EQ(loads, 0);
    is_missing = true;
    EXPECT_EQ(said(), refusal + "libno.so: cannot open shared object file: "
                                "No such file or directory\n");
    EXPECT_EQ(xml_parse("<a/>", 4), nullptr);
    is_missing = false;
    for (const char *name : {"xmlCtxtReadMemory", "xmlMemSetup", "xmlXPathRegisterNs"}) {
        missing_function = name;
        const std::string told = said();
        EXPECT_EQ(told.rfind(refusal, 0), 0U) << told;
        EXPECT_NE(told.find("undefined symbol: no_function\n"), std::string::npos) << told;
    }
    missing_function.clear();
    EXPECT_EQ(looks_like_notification(), 1);
    loads = 0;
    EXPECT_EQ(looks_like_notification(), 1);
    EXPECT_NE(xml_parse("<a/>", 4), nullptr);
    EXPECT_EQ(loads, 0);
}

int found_without_memory(const std::string &message)
{
    is_full = true;
    const int found = is_notification(message.data(), message.size());
    is_full = false;
    return found;
}

TEST(xml_library_test, without_it_the_first_tag_decides)
{
    const std::string head = "<?xml version=\"1.0\"?>\n<!-- c -->";
    const std::string name_space = "=\"urn:ietf:params:xml:ns:netconf:notification:1.0\"";
    const std::string prefixed = "<n:notification\nxmlns:n" + name_space + ">";
    for (const std::string &text : {notification, head + notification, prefixed, head + prefixed})
        EXPECT_EQ(found_without_memory(text), 1) << text;
    const std::string reply = "<rpc-reply><!-- c -->" + notification + "</rpc-reply>";
    for (const std::string &text :
         {reply, head + reply, head, std::string("<notification/>"),
          "<notifications xmlns" + name_space, "<n:notification:n xmlns" + name_space,
          "<notification>" + notification, std::string("<?"), std::string("<!-"), std::string("<"),
          std::string()})
        EXPECT_EQ(found_without_memory(text), 0) << text;
}

TEST(xml_library_test, another_thread_waits_for_memory)
{
    ASSERT_EQ(xml_ready(), 0); // as the main thread
    std::thread other([] {
        is_full = true;
        EXPECT_EQ(xml_ready(), -1);
        is_full = false;
        EXPECT_EQ(looks_like_notification(), 1);
    });
    other.join();
}

} // namespace
