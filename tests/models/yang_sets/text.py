"""YANG statements, and the texts that can be written for them."""


MARKS = "\1\2"


class Statement:
    """A statement with those in it. `is_word`: the argument may stand without quotes."""

    def __init__(self, keyword, argument=None, *inner, is_word=True):
        self.keyword = keyword
        self.argument = argument
        self.inner = list(inner)
        self.is_word = is_word
        self.is_marked = False  # its lines begin and end with MARKS

    def add(self, *inner):
        self.inner.extend(inner)
        return self


def quoted(random, text):
    """The argument in one of the ways of writing it, most often the plain one."""
    way = random.randrange(12)
    if way == 0 and len(text) > 2:
        middle = random.randrange(1, len(text))
        gap = random.choice((" + ", "\n      + ", "\n +\n"))
        return f"{quoted_plainly(text[:middle])}{gap}'{text[middle:]}'"
    if way == 1:
        return f"'{text}'"
    return None if way > 2 else quoted_plainly(text)


def quoted_plainly(text):
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def plain_lines(statement, indent=""):
    """The lines of a statement in one way of writing it, without instances of extensions."""
    head = indent + statement.keyword
    if statement.argument is not None:
        head += " " + quoted_plainly(statement.argument)
    inner = [one for one in statement.inner if ":" not in one.keyword or one.is_marked]
    if not inner:
        return [head + ";"]
    return [head + " {", *(line for one in inner for line in plain_lines(one, indent)), "}"]


def lines_of(random, statement, indent=""):
    """The lines of a statement, with comments here and there. No text has a "'" in it."""
    lines = unmarked_lines(random, statement, indent)
    if statement.is_marked:
        lines[0] = MARKS[0] + lines[0]
        lines[-1] += MARKS[1]
    return lines


def marked_place(lines):
    """The numbers of the first and last line of what is marked."""
    first, last = ([i for i, line in enumerate(lines, 1) if mark in line] for mark in MARKS)
    return first[0], last[-1]


def unmarked_lines(random, statement, indent):
    head = indent + statement.keyword
    if statement.argument is not None:
        argument = quoted(random, statement.argument)
        if argument is None:
            argument = statement.argument if statement.is_word else f"'{statement.argument}'"
        head += (" " if random.randrange(40) else f"\n{indent}    ") + argument
    if random.randrange(30) == 0:
        head += " /* } {\n */"
    if not statement.inner:
        return (head + ";").split("\n")
    lines = (head + " {").split("\n")
    for inner in statement.inner:
        lines += lines_of(random, inner, indent + "  ")
    if random.randrange(30) == 0:
        lines.append("// leaf x { '")
    return lines + [indent + "}"]
