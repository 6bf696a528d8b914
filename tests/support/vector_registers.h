// The vector registers of the processor, whichever it has: filled and saved as they
// are for a signal's handler, without knowing their names.
//
// Test code is compiled so that nothing but these functions changes a vector
// register between two of them that follow each other; therefore where they are
// saved to is cleared when it is made.
#pragma once

#include <stddef.h>
#include <string.h>

#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>

struct vector_registers {
    alignas(64) unsigned char bytes[4096] = {};
};

// The numbers of what XSAVE saves: SSE, the upper halves of AVX, the masks, and
// what AVX-512 adds.
constexpr unsigned vector_components = 0xe6;
constexpr size_t least_registers_size = sizeof(void *) == 8 ? 256 : 128;
constexpr size_t sse_offset = 160;
constexpr size_t sse_size = least_registers_size;
constexpr size_t in_use_offset = 512; // which of the components are not zero

// The components that this system saves; 0 where it knows FXSAVE only.
inline unsigned saved_components()
{
    constexpr unsigned os_uses_xsave = 1U << 27;
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) == 0 || (ecx & os_uses_xsave) == 0)
        return 0;
    __asm__ __volatile__("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
    return eax & vector_components;
}

inline void registers_save(vector_registers *into)
{
    if (saved_components() != 0)
        __asm__ __volatile__("xsave %0" : "+m"(*into) : "a"(vector_components | 1), "d"(0));
    else
        __asm__ __volatile__("fxsave %0" : "+m"(*into));
}

inline void registers_fill(int byte)
{
    vector_registers from;
    registers_save(&from);
    memset(from.bytes + sse_offset, byte, sse_size);
    const unsigned components = saved_components();
    for (unsigned number = 2; number < 8; number++) {
        unsigned size = 0;
        unsigned offset = 0;
        unsigned ecx = 0;
        unsigned edx = 0;
        if ((components & 1U << number) != 0) {
            __get_cpuid_count(0xd, number, &size, &offset, &ecx, &edx);
            memset(from.bytes + offset, byte, size);
        }
    }
    from.bytes[in_use_offset] |= static_cast<unsigned char>(components);
    if (components != 0)
        __asm__ __volatile__("xrstor %0" : : "m"(from), "a"(vector_components), "d"(0));
    else
        __asm__ __volatile__("fxrstor %0" : : "m"(from));
}

#elif defined(__aarch64__)

constexpr size_t least_registers_size = 24 * 16;

// v0 to v7 and v16 to v31; of the others a call preserves a part.
struct vector_registers {
    unsigned char bytes[least_registers_size] = {};
};

inline void registers_save(vector_registers *into)
{
    __asm__ __volatile__(".irp n, 0,1,2,3,4,5,6,7\n\t"
                         "str q\\n, [%0, #16 * \\n]\n\t"
                         ".endr\n\t"
                         ".irp n, 16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31\n\t"
                         "str q\\n, [%0, #16 * (\\n - 8)]\n\t"
                         ".endr"
                         :
                         : "r"(into->bytes)
                         : "memory");
}

inline void registers_fill(int byte)
{
    __asm__ __volatile__(
        ".irp n, 0,1,2,3,4,5,6,7,16,17,18,19,20,21,22,23,24,25,26,27,28,29,30,31\n\t"
        "dup v\\n\\().16b, %w0\n\t"
        ".endr"
        :
        : "r"(byte)
        : "v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7", "v16", "v17", "v18", "v19", "v20", "v21",
          "v22", "v23", "v24", "v25", "v26", "v27", "v28", "v29", "v30", "v31");
}

#elif defined(__ARM_FP)

constexpr size_t least_registers_size = 8 * 8;

// d0 to d7: those that every vector unit has and no call preserves.
struct vector_registers {
    unsigned char bytes[least_registers_size] = {};
};

inline void registers_save(vector_registers *into)
{
    __asm__ __volatile__("vstmia %0, {d0-d7}" : : "r"(into->bytes) : "memory");
}

inline void registers_fill(int byte)
{
    vector_registers from;
    memset(from.bytes, byte, sizeof from.bytes);
    __asm__ __volatile__("vldmia %0, {d0-d7}"
                         :
                         : "r"(from.bytes)
                         : "memory", "d0", "d1", "d2", "d3", "d4", "d5", "d6", "d7");
}

#else

constexpr size_t least_registers_size = 0; // it is not known how they are saved

struct vector_registers {
    unsigned char bytes[1] = {};
};

inline void registers_save(vector_registers *) {}

inline void registers_fill(int) {}

#endif

// How many of the bytes that were saved are this one.
inline size_t registers_count(const vector_registers &registers, int byte)
{
    size_t count = 0;
    for (const unsigned char saved : registers.bytes)
        count += saved == byte ? 1 : 0;
    return count;
}
