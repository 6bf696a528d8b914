"""Looking into the memory of a process that runs, or that has come to its end."""

import ctypes
import os
import re
import signal

PTRACE_CONT = 7
PTRACE_SEIZE = 0x4206
PTRACE_O_TRACEEXIT = 1 << 6
PTRACE_EVENT_EXIT = 6
WALL = 0x40000000
LARGEST = 1 << 30  # what is larger holds no data: a sanitizer keeps its notes there
MAPPING = re.compile(r"([0-9a-f]+)-([0-9a-f]+) (\S+) \S+ \S+ \S+ *(.*)")

_libc = ctypes.CDLL(None, use_errno=True)
_libc.ptrace.restype = ctypes.c_long
_libc.ptrace.argtypes = (ctypes.c_long, ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p)


def writable(pid):
    """(name, address, bytes) of everything that the process could have written."""
    with open(f"/proc/{pid}/maps", encoding="ascii") as maps:
        mappings = [MAPPING.match(line).groups() for line in maps]
    with open(f"/proc/{pid}/mem", "rb", 0) as memory:
        for start, end, rights, name in mappings:
            begin, size = int(start, 16), int(end, 16) - int(start, 16)
            if rights.startswith("rw") and size < LARGEST:
                memory.seek(begin)
                yield name, begin, memory.read(size)


def find(pid, needle):
    """Where the process holds needle: (name of the mapping, address, the bytes around it)."""
    found = []
    for name, begin, content in writable(pid):
        at = content.find(needle)
        while at >= 0:
            found.append((name, begin + at, content[max(0, at - 64) : at + 64]))
            at = content.find(needle, at + 1)
    return found


def arguments(pid):
    """The addresses from and up to which the process got its arguments and environment."""
    with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
        fields = stat.read().rpartition(")")[2].split()
    return int(fields[45]), int(fields[48])


def _ptrace(request, pid, data=None):
    if _libc.ptrace(request, pid, None, data) < 0:
        raise OSError(ctypes.get_errno(), "ptrace")


class HeldAtExit:
    """Holds a child process at its very end, when its memory is still there.

    Made while the process runs; to be used by one thread."""

    def __init__(self, pid):
        self.pid = pid
        _ptrace(PTRACE_SEIZE, pid, PTRACE_O_TRACEEXIT)

    def wait(self):
        """Waits for the end of the process."""
        while True:
            _, status = os.waitpid(self.pid, WALL)
            assert os.WIFSTOPPED(status), f"the process has ended with {status:#x}"
            if status >> 8 == signal.SIGTRAP | PTRACE_EVENT_EXIT << 8:
                return
            passed_on = os.WSTOPSIG(status) if status >> 16 == 0 else 0
            _ptrace(PTRACE_CONT, self.pid, passed_on)

    def release(self):
        """Lets the process end."""
        _ptrace(PTRACE_CONT, self.pid)
