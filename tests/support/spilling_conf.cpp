// A libconf.so that stands before all other libraries of a shell and lets every
// call to one of them save all registers, as the dynamic linker does at the first
// call of a function that it binds late, or a library does that switches stacks.
// What was saved stays in spilled_registers until the process ends. Connecting
// leads to TARND_SOCKET. With SPILLING_TELLS set it tells on standard error, in the
// end, how many calls there were.
#include "conf_agent.h"

#include <cpuid.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include "connect_tarnd.h"

// What of libredisapi and libxml2 the shell calls.
#define EACH_FUNCTION(of)                                                                          \
    of(redis_connect) of(redis_select) of(redis_hash_get_bin_safe) of(redis_hash_get_all_bin_safe) \
        of(redis_freereply) of(redis_freeconn) of(xmlCtxtReadMemory) of(xmlDocGetRootElement)      \
            of(xmlFreeDoc) of(xmlFreeParserCtxt) of(xmlGetGlobalState) of(xmlInitParser)           \
                of(xmlIsMainThread) of(xmlMemSetup) of(xmlNewParserCtxt) of(xmlNodeGetContent)     \
                    of(xmlReadMemory) of(xmlSetGenericErrorFunc) of(xmlSetStructuredErrorFunc)     \
                        of(xmlStopParser) of(xmlStrEqual) of(xmlThrDefSetGenericErrorFunc)         \
                            of(xmlXPathEvalExpression) of(xmlXPathFreeContext)                     \
                                of(xmlXPathFreeObject) of(xmlXPathNewContext)                      \
                                    of(xmlXPathRegisterNs)

#define NUMBER(name) number_of_##name,
#define NAME(name) #name,

enum function_number { EACH_FUNCTION(NUMBER) function_count };

namespace
{

const char *const names[] = {EACH_FUNCTION(NAME)};

} // namespace

// Used by the instructions below, which know the sizes, too: a call's slot has the
// vector registers at 0 and the general ones at 3072.
extern "C" {
__attribute__((visibility("hidden"))) void *spilling_targets[function_count];
__attribute__((visibility("hidden"))) int spilling_has_xsave;
__attribute__((visibility("hidden"))) unsigned spilling_calls;
__attribute__((visibility("hidden"), aligned(64))) char spilled_registers[1024][4096];
}

#if defined(__x86_64__)

__asm__(R"(
    .text
    .type spill_and_go, @function
spill_and_go:
    pushq %rax
    pushq %rcx
    pushq %rdx
    movl $1, %eax
    lock xaddl %eax, spilling_calls(%rip)
    cmpl $1024, %eax
    jae 3f
    movl %eax, %ecx
    shlq $12, %rcx
    leaq spilled_registers(%rip), %rdx
    addq %rdx, %rcx
    popq 3072(%rcx)
    popq 3080(%rcx)
    popq 3088(%rcx)
    subq $24, %rsp
    movq %rsi, 3096(%rcx)
    movq %rdi, 3104(%rcx)
    movq %r8, 3112(%rcx)
    movq %r9, 3120(%rcx)
    movq %r10, 3128(%rcx)
    movq %r11, 3136(%rcx)
    movq %rbx, 3144(%rcx)
    movq %rbp, 3152(%rcx)
    movq %r12, 3160(%rcx)
    movq %r13, 3168(%rcx)
    movq %r14, 3176(%rcx)
    movq %r15, 3184(%rcx)
    cmpl $0, spilling_has_xsave(%rip)
    je 1f
    movl $0xe7, %eax
    xorl %edx, %edx
    xsave (%rcx)
    jmp 2f
1:  fxsave (%rcx)
2:  movq 24(%rsp), %rax
    leaq spilling_targets(%rip), %rdx
    movq (%rdx,%rax,8), %rax
    movq %rax, 24(%rsp)
    popq %rdx
    popq %rcx
    popq %rax
    ret
3:  ud2
    .size spill_and_go, . - spill_and_go
    .set spilling_number, 0
)");

#define PUSH "pushq"

#elif defined(__i386__)

__asm__(R"(
    .text
    .type spill_and_go, @function
spill_and_go:
    pushl %ebx
    pushl %eax
    pushl %ecx
    pushl %edx
    call 0f
0:  popl %ebx
    movl $1, %eax
    lock xaddl %eax, spilling_calls - 0b(%ebx)
    cmpl $1024, %eax
    jae 3f
    shll $12, %eax
    leal spilled_registers - 0b(%ebx), %ecx
    addl %eax, %ecx
    popl 3072(%ecx)
    popl 3076(%ecx)
    popl 3080(%ecx)
    subl $12, %esp
    movl %esi, 3084(%ecx)
    movl %edi, 3088(%ecx)
    movl %ebp, 3092(%ecx)
    cmpl $0, spilling_has_xsave - 0b(%ebx)
    je 1f
    movl $0xe7, %eax
    xorl %edx, %edx
    xsave (%ecx)
    jmp 2f
1:  fxsave (%ecx)
2:  movl 16(%esp), %eax
    movl spilling_targets - 0b(%ebx,%eax,4), %eax
    movl %eax, 16(%esp)
    popl %edx
    popl %ecx
    popl %eax
    popl %ebx
    ret
3:  ud2
    .size spill_and_go, . - spill_and_go
    .set spilling_number, 0
)");

#define PUSH "pushl"

#endif

#define SPILLING(name)                                                                             \
    __asm__(".globl " #name "\n"                                                                   \
            ".type " #name ", @function\n" #name ":\n" PUSH " $spilling_number\n"                  \
            "jmp spill_and_go\n"                                                                   \
            ".size " #name ", . - " #name "\n"                                                     \
            ".set spilling_number, spilling_number + 1\n");

EACH_FUNCTION(SPILLING)

__attribute__((constructor)) static void find_targets()
{
    constexpr unsigned os_saves_registers = 1U << 27;
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    __get_cpuid(1, &eax, &ebx, &ecx, &edx);
    spilling_has_xsave = (ecx & os_saves_registers) != 0;
    for (unsigned i = 0; i < function_count; i++) {
        spilling_targets[i] = dlsym(RTLD_NEXT, names[i]);
        if (spilling_targets[i] == nullptr)
            abort();
    }
}

__attribute__((destructor)) static void tell()
{
    if (getenv("SPILLING_TELLS") != nullptr)
        fprintf(stderr, "%u calls\n", spilling_calls);
}

int conf_agent_init()
{
    return connect_tarnd();
}

int conf_dbg_enable(int, int)
{
    return 0;
}
