"""Processes as /proc shows them. One may end between the opening and the reading of its file."""


def is_running(pid):
    """True for a process that exists and is no zombie."""
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as stat:
            return stat.read().rpartition(")")[2].split()[0] not in "ZX"
    except (FileNotFoundError, ProcessLookupError):
        return False


def children_of(pid):
    """Process ids of a process's children; none when it has ended."""
    try:
        with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as children:
            return [int(child) for child in children.read().split()]
    except (FileNotFoundError, ProcessLookupError):
        return []
