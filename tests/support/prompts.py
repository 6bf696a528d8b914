"""Steps of a dialogue: the prompt in a workspace, the way to it, names in a listing."""

ROOT = "/$ "


def at(path):
    """The prompt in the workspace /path; ROOT is how a shell begins at "/"."""
    return f"\n{path}$ "


def go(*names):
    """The steps that lead from the root through names.

    An entry that is entered from its list's workspace takes the list's place."""
    path, prompt, steps = "", ROOT, []
    for name in names:
        steps.append((prompt, f"cd {name}", ""))
        above, _, last = path.rpartition("/")
        path = (above if name.startswith(f"{last}[") else path) + f"/{name}"
        prompt = at(path)
    return steps


def shown(name, code):
    return f"\x1b[{code}m{name}\x1b[0m"


def plain(name):
    return shown(name, "0")


def blue(name):
    return shown(name, "01;34")


def cyan(name):
    return shown(name, "01;36")


def row(*items):
    """A listing that fits on one line."""
    return "  ".join(items) + "\n"
