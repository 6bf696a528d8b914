"""Looking into the memory of a process that runs, or is held at its end (tracing.py)."""

import re

LARGEST = 1 << 30  # what is larger holds no data: a sanitizer keeps its notes there
MAPPING = re.compile(r"([0-9a-f]+)-([0-9a-f]+) (\S+) \S+ \S+ \S+ *(.*)")


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
