"""How replies are laid out."""

import random

import pytest
from support.example import EXAMPLE

CASES = [
    ("<a><b>1</b></a>", "<a>\n  <b>\n    1\n  </b>\n</a>\n"),
    ("<a><b/><c/></a>", "<a>\n  <b/>\n    <c/>\n    </a>\n"),
    ('<?xml version="1.0"?><a></a>', '<?xml version="1.0"?>\n  <a>\n  </a>\n'),
    ("<a><!-- note --><b>1</b></a>", "<a>\n  <!-- note -->\n    <b>\n      1\n    </b>\n  </a>\n"),
    ("<a>  <b>  1 </b>  </a>  ", "<a>\n  <b>\n    1 \n  </b>\n</a>\n"),
    ("<a>\n<b>x\ty\r\nz</b>\n</a>\n", "<a>\n  \n\n  <b>\n    x\ty\r\nz\n  </b>\n    \n\n</a>\n"),
    ("<a>&lt;&gt;&amp;&quot;&#9;&#13;&#10;|</a>", '<a>\n  <>&"\t\r\n|\n</a>\n'),
    ("<a>&apos;&#39;&#x41;&AMP;&amp</a>", "<a>\n  &apos;&#39;&#x41;&AMP;&amp\n</a>\n"),
    ("<a>&amp;lt;</a>", "<a>\n  &lt;\n</a>\n"),
    ("<a></a>rest", "<a>\n</a>\n"),
    ("<a></a>rest<b", "<a>\n</a>\n  rest\n"),
    ("lead<a></a>", "lead<a>\n</a>\n"),
    ("<a>1 > 2</a>", "<a>\n  1 > 2\n</a>\n"),
    ("</a></b>", "</a>\n</b>\n"),
    ("</a></b></c><d>", "</a>\n</b>\n</c>\n<d>\n"),
    (">", ">\n"),
    (">>", ">\n"),
    (">x<b>", ">\n  x\n  <b>\n"),
    ("no tag at all", ""),
    ("<a>100%s %n %d</a>", "<a>\n  100%s %n %d\n</a>\n"),
    ("<a>ä€😀</a>", "<a>\n  ä€😀\n</a>\n"),
    ("<a>1</a>\0<b>2</b>", "<a>\n  1\n</a>\n"),
]


@pytest.mark.parametrize("reply, printed", CASES)
def test_layout(machine, reply, printed):
    machine.load(EXAMPLE)
    machine.tarnd.on_request = lambda request: reply
    machine.dialogue(("/$ ", "get /acme/empty", "\r\n" + printed))


def test_many_empty_elements_deepen_without_end(machine):
    machine.load(EXAMPLE)
    count = 3000
    machine.tarnd.on_request = lambda request: "<a>" + "<b/>" * count + "</a>"
    lines = ["<a>"] + [" " * (2 * depth) + "<b/>" for depth in range(1, count + 1)]
    lines.append(" " * (2 * count) + "</a>")
    machine.dialogue(("/$ ", "get /acme/empty", "\r\n" + "\n".join(lines) + "\n"))


def test_a_text_much_deeper_than_ten_times_its_length(machine):
    machine.load(EXAMPLE)
    machine.tarnd.on_request = lambda request: "<>" * 500
    lines = [" " * (2 * depth) + "<>" for depth in range(500)]
    machine.dialogue(("/$ ", "get /acme/empty", "\r\n" + "\n".join(lines) + "\n"))


def test_a_reply_of_many_lines(machine):
    machine.load(EXAMPLE)
    count = 50_000
    machine.tarnd.on_request = (
        lambda request: "<data>" + "".join(f"<p>{n}</p>" for n in range(count)) + "</data>"
    )
    inner = "".join(f"  <p>\n    {n}\n  </p>\n" for n in range(count))
    machine.dialogue(("/$ ", "get /acme/empty", f"\r\n<data>\n{inner}</data>\n"))


# The same layout once more, written from the rules alone and without regard
# to cost, for texts that nobody would write by hand.

ENTITIES = [("&amp;", "&"), ("&lt;", "<"), ("&gt;", ">"), ("&quot;", '"')] + [
    ("&#9;", "\t"),
    ("&#13;", "\r"),
    ("&#10;", "\n"),
]
PIECES = ["<a>", "</a>", "<b/>", "<?x?>", "<!-- c -->", "<c d='1'>", "<", ">", "/", "</", " ", "  "]
PIECES += ["\n", "\t", "\r\n", "x", "text", "&", "&gt", "&#1;", ";", "%s", "\xc3\xa9"]
PIECES += [entity for entity, _ in ENTITIES]


def decoded(layout):
    text = ""
    while layout:
        for entity, character in ENTITIES:
            if layout.startswith(entity):
                text, layout = text + character, layout[len(entity) :]
                break
        else:
            text, layout = text + layout[0], layout[1:]
    return text


def indented(indentation, text):
    return " " * max(0, indentation) + text + "\n"


def laid_out(text):
    layout = ""
    indentation = previous = start = 0
    end = text.find(">")
    while end >= 0:
        layout += indented(indentation, text[start : end + 1])
        start = end + 1
        while text[start : start + 1] == " ":
            start += 1
        tag = text.find("<", start)
        if tag < 0:
            break
        if tag != start:
            layout += indented(indentation + 2, text[start:tag])
        closing = text[previous + 1 : previous + 2] == "/", text[tag + 1 : tag + 2] == "/"
        indentation += {(True, True): -2, (False, False): 2}.get(closing, 0)
        previous = start = tag
        end = text.find(">", tag)
    return decoded(layout)


@pytest.mark.parametrize("seed", range(3))
def test_random_texts(machine, seed):
    machine.load(EXAMPLE)
    chance = random.Random(seed)
    texts = ["".join(chance.choices(PIECES, k=chance.randint(0, 30))) for _ in range(1000)]
    replies = iter(texts)
    machine.tarnd.on_request = lambda request: next(replies).encode("latin-1")
    output = machine.session(*["get /acme/empty"] * len(texts), "quit").stdout.decode("latin-1")
    shown = output.split("/$ get /acme/empty\n")
    assert shown.pop(0) == ""
    assert len(shown) == len(texts)
    for text, one in zip(texts, shown):
        assert one.removesuffix("/$ quit\n") == "\r\n" + laid_out(text)
