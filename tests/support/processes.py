"""Processes as /proc shows them. One may end between the opening and the reading of its file."""


def state_of(pid):
    """The letter for what a process does: S where it waits, Z where it has ended, X where it is not
    there."""
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii", errors="replace") as stat:
            return stat.read().rpartition(")")[2].split()[0]
    except (FileNotFoundError, ProcessLookupError):
        return "X"


def is_running(pid):
    """True for a process that exists and is no zombie."""
    return state_of(pid) not in "ZX"


def children_of(pid):
    """Process ids of a process's children; none when it has ended."""
    try:
        with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as children:
            return [int(child) for child in children.read().split()]
    except (FileNotFoundError, ProcessLookupError):
        return []
