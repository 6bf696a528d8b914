"""How replies are laid out."""

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
