// How far libyang is: modules of a context that is compiled meanwhile.
#include "device/schemac/compile_teller.h"

#include <gtest/gtest.h>

#include "device/schemac/compile.h"

namespace
{

// What has been told, and a mark for each time.
std::vector<std::string> lines;
sem_t is_told;

void note_told(const std::string &module, size_t number, size_t count)
{
    lines.push_back(module + " " + std::to_string(number) + "/" + std::to_string(count));
    sem_post(&is_told);
}

context_ptr load(const char *first, const char *second)
{
    ly_ctx *context = nullptr;
    ly_ctx_new(nullptr, LY_CTX_NO_YANGLIBRARY | LY_CTX_EXPLICIT_COMPILE, &context);
    ly_ctx_compile(context); // libyang's own
    for (const char *name : {first, second}) {
        const std::string text = std::string("module ") + name + " { namespace \"urn:" + name +
                                 "\"; prefix p; leaf a { type string; } }";
        EXPECT_EQ(lys_parse_mem(context, text.c_str(), LYS_IN_YANG, nullptr), LY_SUCCESS);
    }
    return context_ptr(context);
}

TEST(schemac_compile_teller, tells_of_what_is_begun_once)
{
    sem_init(&is_told, 0, 0);
    lines.clear();
    const context_ptr context = load("one", "two");
    compile_teller teller = {};
    compile_teller_start(&teller, context.get(), note_told);
    lys_module *first = ly_ctx_get_module_implemented(context.get(), "one");
    lysc_module begun = {};
    __atomic_store_n(&first->compiled, &begun, __ATOMIC_RELAXED);
    sem_wait(&is_told);
    __atomic_store_n(&first->compiled, nullptr, __ATOMIC_RELAXED);
    EXPECT_EQ(ly_ctx_compile(context.get()), LY_SUCCESS);
    sem_wait(&is_told);
    compile_teller_stop(&teller);
    compile_teller_stop(&teller);
    EXPECT_EQ(lines, (std::vector<std::string>{"one 1/2", "two 2/2"}));
}

TEST(schemac_compile_teller, tells_nothing_after_its_end)
{
    lines.clear();
    const context_ptr context = load("one", "two");
    compile_teller teller = {};
    compile_teller_start(&teller, context.get(), note_told);
    compile_teller_stop(&teller);
    EXPECT_EQ(ly_ctx_compile(context.get()), LY_SUCCESS);
    EXPECT_TRUE(lines.empty());
}

} // namespace
