"""Looking into the memory of a process that runs, or is held at its end (tracing.py)."""

import array
import itertools
import mmap
import re

PIECE = 8  # bytes in a row of what is looked for that cannot be there by chance
LONG = 50  # from here on not every piece is looked for
PAGE = mmap.PAGESIZE
LARGEST = 1 << 30  # what is larger holds no data: a sanitizer keeps its notes there
MAPPING = re.compile(r"([0-9a-f]+)-([0-9a-f]+) (\S+) \S+ \S+ \S+ *(.*)")


def touched(pagemap, start, end):
    """The parts of a mapping that are in memory or swapped out, (from, up to)."""
    pagemap.seek(start // PAGE * 8)
    pages = array.array("Q", pagemap.read((end - start) // PAGE * 8))
    for is_touched, run in itertools.groupby(pages, lambda page: page >> 62 != 0):
        size = sum(1 for _ in run) * PAGE
        if is_touched:
            yield start, start + size
        start += size


def writable(pid):
    """(name, address, bytes) of everything that the process has written."""
    with open(f"/proc/{pid}/maps", encoding="ascii") as maps:
        mappings = [MAPPING.match(line).groups() for line in maps]
    with open(f"/proc/{pid}/mem", "rb", 0) as memory, open(
        f"/proc/{pid}/pagemap", "rb", 0
    ) as pagemap:
        for start, end, rights, name in mappings:
            start, end = int(start, 16), int(end, 16)
            if rights.startswith("rw") and end - start < LARGEST:
                for begin, behind in touched(pagemap, start, end):
                    memory.seek(begin)
                    yield name, begin, memory.read(behind - begin)


def spans(content, needle):
    """Where content holds needle or at least PIECE bytes in a row of it: (from, up to).

    Of a long needle, as many as stand in any vector register."""
    found = []
    step = 1 if len(needle) < LONG else PIECE
    for first in range(0, max(1, len(needle) - PIECE + 1), step):
        piece = needle[first : first + PIECE]
        at = content.find(piece)
        while at >= 0:
            found.append((at, at + len(piece)))
            at = content.find(piece, at + 1)
    merged = []
    for start, end in sorted(found):
        if merged and start <= merged[-1][1]:
            merged[-1] = (merged[-1][0], max(end, merged[-1][1]))
        else:
            merged.append((start, end))
    return merged


def find(pid, needle):
    """Where the process holds needle, or a piece of it as it fits into a register:
    (name of the mapping, address, the bytes around it)."""
    return [
        (name, begin + start, content[max(0, start - 64) : end + 64])
        for name, begin, content in writable(pid)
        for start, end in spans(content, needle)
    ]
