"""Stopping a process at its system calls and at its very end."""

import ctypes
import os
import signal

from .shell import SANITIZER_LOG

# For the process: the search for leaks traces it, too, and one can do so at a time.
ENVIRONMENT = {"ASAN_OPTIONS": f"{SANITIZER_LOG}:detect_leaks=0"}
PTRACE_CONT = 7
PTRACE_SYSCALL = 24
PTRACE_SEIZE = 0x4206
PTRACE_INTERRUPT = 0x4207
PTRACE_O_TRACESYSGOOD = 1
PTRACE_O_TRACEEXIT = 1 << 6
PTRACE_EVENT_EXIT = 6
WALL = 0x40000000
AT_CALL = signal.SIGTRAP | 0x80

_libc = ctypes.CDLL(None, use_errno=True)
_libc.ptrace.restype = ctypes.c_long
_libc.ptrace.argtypes = (ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p)


def _ptrace(request, pid, data=None):
    if _libc.ptrace(request, pid, None, data) < 0:
        raise OSError(ctypes.get_errno(), "ptrace")


class Traced:
    """A child process, from now on traced; to be used by one thread.

    Only its first thread is: the others run on."""

    def __init__(self, pid):
        self.pid = pid
        _ptrace(PTRACE_SEIZE, pid, PTRACE_O_TRACEEXIT | PTRACE_O_TRACESYSGOOD)

    def run_to_exit(self, at_call=None):
        """Runs the process to its last moment, in which its memory is still there.

        at_call is called before and after each of its system calls."""
        if at_call:
            _ptrace(PTRACE_INTERRUPT, self.pid)
        while True:
            _, status = os.waitpid(self.pid, WALL)
            assert os.WIFSTOPPED(status), f"the process has ended with {status:#x}"
            if status >> 8 == signal.SIGTRAP | PTRACE_EVENT_EXIT << 8:
                return
            if os.WSTOPSIG(status) == AT_CALL:
                at_call()
            is_signal = status >> 16 == 0 and os.WSTOPSIG(status) != AT_CALL
            passed_on = os.WSTOPSIG(status) if is_signal else 0
            _ptrace(PTRACE_SYSCALL if at_call else PTRACE_CONT, self.pid, passed_on)

    def release(self):
        """Lets the process end."""
        _ptrace(PTRACE_CONT, self.pid)
