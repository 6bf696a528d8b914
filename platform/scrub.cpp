// Which vector registers there are is asked at run time, because the C library
// chooses its string functions by the processor, too. The registers stand in the
// instructions, and again as what these change, so that no compiler keeps anything
// in one of them meanwhile.
#include "scrub.h"

#include <stddef.h>
#ifdef __arm__
#include <sys/auxv.h>
#endif

#include "bounded.h"

// Writes an instruction for each n of a list. The rest is what these change.
#define FOR_EACH(list, instruction, ...)                                                           \
    __asm__ __volatile__(".irp n, " list "\n\t" instruction "\n\t.endr" : : : __VA_ARGS__)

#if defined(__x86_64__)
#define SSE_NUMBERS "0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15"
#define SSE_REGISTERS                                                                              \
    "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10",       \
        "xmm11", "xmm12", "xmm13", "xmm14", "xmm15"
#define GENERAL_NAMES "rax,rcx,rdx,rsi,rdi,r8,r9,r10,r11"
#define GENERAL_REGISTERS "rax", "rcx", "rdx", "rsi", "rdi", "r8", "r9", "r10", "r11"
#elif defined(__i386__)
#define SSE_NUMBERS "0,1,2,3,4,5,6,7"
#define SSE_REGISTERS "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7"
#define GENERAL_NAMES "eax,ecx,edx"
#define GENERAL_REGISTERS "eax", "ecx", "edx"
#endif

namespace
{

#if defined(__x86_64__) || defined(__i386__)

__attribute__((target("sse"))) void clear_sse()
{
    FOR_EACH(SSE_NUMBERS, "xorps %%xmm\\n, %%xmm\\n", SSE_REGISTERS);
}

// In their whole width, whatever that is.
__attribute__((target("avx"))) void clear_avx()
{
    __asm__ __volatile__("vzeroall" : : : SSE_REGISTERS);
}

__attribute__((target("avx512f"))) void clear_masks()
{
    FOR_EACH("0,1,2,3,4,5,6,7", "kxorw %%k\\n, %%k\\n, %%k\\n", "k0", "k1", "k2", "k3", "k4", "k5",
             "k6", "k7");
}

#ifdef __x86_64__

// The upper sixteen, which vzeroall leaves as they are.
__attribute__((target("avx512f"))) void clear_avx512()
{
    FOR_EACH("16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31",
             "vpxord %%zmm\\n, %%zmm\\n, %%zmm\\n", "xmm16", "xmm17", "xmm18", "xmm19", "xmm20",
             "xmm21", "xmm22", "xmm23", "xmm24", "xmm25", "xmm26", "xmm27", "xmm28", "xmm29",
             "xmm30", "xmm31");
}

#else

void clear_avx512() {}

#endif

void clear_vectors()
{
    if (__builtin_cpu_supports("avx512f")) {
        clear_avx512();
        clear_masks();
    }
    if (__builtin_cpu_supports("avx"))
        clear_avx();
    else if (__builtin_cpu_supports("sse"))
        clear_sse();
}

void clear_general()
{
    FOR_EACH(GENERAL_NAMES, "xor %%\\n, %%\\n", GENERAL_REGISTERS, "cc");
}

#elif defined(__aarch64__)

// Without v8 to v15, of which a call preserves a part. Writing to one of the others
// clears the rest of the scalable register around it.
void clear_vectors()
{
    FOR_EACH("0,1,2,3,4,5,6,7,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31",
             "movi v\\n\\().2d, #0", "v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7", "v16", "v17",
             "v18", "v19", "v20", "v21", "v22", "v23", "v24", "v25", "v26", "v27", "v28", "v29",
             "v30", "v31");
}

void clear_general()
{
    FOR_EACH("0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17", "mov x\\n, xzr", "x0", "x1", "x2", "x3",
             "x4", "x5", "x6", "x7", "x8", "x9", "x10", "x11", "x12", "x13", "x14", "x15", "x16",
             "x17");
}

#elif defined(__arm__)

// Bits of AT_HWCAP: a vector unit, and one with all 32 registers.
constexpr unsigned long has_vectors = 1UL << 6;
constexpr unsigned long has_all_vectors = 1UL << 19;

#ifdef __ARM_FP
#define FIRST_VECTORS "d0", "d1", "d2", "d3", "d4", "d5", "d6", "d7",
#else
#define FIRST_VECTORS // the compiler uses none and does not know their names
#endif

// vmov d0, r0, r0 up to d7, as numbers, because the assembler refuses instructions of
// a unit that it is not told of. A call preserves d8 to d15.
void clear_first_vectors()
{
    FOR_EACH("0,1,2,3,4,5,6,7", "mov r0, #0\n\t.inst 0xec400b10 + \\n", FIRST_VECTORS "r0");
}

// The same from d16 up to d31.
void clear_last_vectors()
{
    FOR_EACH("0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15", "mov r0, #0\n\t.inst 0xec400b30 + \\n", "r0");
}

void clear_vectors()
{
    const unsigned long unit = getauxval(AT_HWCAP);
    if ((unit & has_vectors) != 0)
        clear_first_vectors();
    if ((unit & has_all_vectors) != 0)
        clear_last_vectors();
}

void clear_general()
{
    FOR_EACH("r0,r1,r2,r3,r12", "mov \\n, #0", "r0", "r1", "r2", "r3", "r12");
}

#else

void clear_vectors() {}

void clear_general() {}

#endif

// Commands reach 20 KB below the line's frame, and 37 KB where they look through the
// profile, 41 KB with a sanitizer's fences between locals, counting what the dynamic
// linker saves of the largest registers.
constexpr size_t stack_depth = 65536;

} // namespace

void scrub_registers()
{
    clear_vectors();
    clear_general();
}

// Without a sanitizer's fences, so that the room below is the stack itself. What
// stands beside its own return address is where the frame of the caller's last
// call began, which held no text.
__attribute__((noinline, no_sanitize("address"))) void scrub_stack()
{
    char below[stack_depth];
    memset_s(below, sizeof below, 0, sizeof below);
    scrub_registers();
}
