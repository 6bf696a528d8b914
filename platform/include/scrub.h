// Removing what calls leave in registers and below the stack pointer.
//
// A text that was copied, compared or wiped stays in the vector registers until
// something else takes its place there. Whoever saves them writes it to memory: the
// dynamic linker at the first call of a function that is bound late, the kernel for
// a signal's handler, a library that switches stacks. So the registers are cleared
// with each text that is wiped and before each call into a library that is not the
// C library; registers and stack after each line that was run, and before the
// process ends. The listener's thread handles no text of the operator and has no
// need of this.
//
// Nothing here fails, allocates, or makes a system call; registers take some
// nanoseconds, the stack less than a microsecond. A handler of signals may call it.
#pragma once

// Clears all vector and mask registers that the processor has, and the general
// ones, as far as a call may change them; the others hold no text, because no
// string function uses them. Elsewhere than on x86 and ARM it does nothing.
void scrub_registers();

// The same, and overwrites the stack below the caller: deeper than any command
// reaches. What the caller itself holds is not touched.
void scrub_stack();
