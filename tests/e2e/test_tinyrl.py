"""The line editor at a terminal: bytes, screen and cursor after every key."""

import pytest
from support.editor_terminal import start_fixture  # noqa: F401
from support.editor_terminal import (
    BACKSPACE,
    CTRL,
    DELETE,
    DOWN,
    END,
    ENTER,
    HOME,
    LEFT,
    NEXT_LINE,
    RIGHT,
    RUBOUT,
    UP,
    shows,
    wrapped,
)


# The keys of the default table, one after the other


def test_prompt_stands_where_the_line_begins(start):
    demo = start()
    assert demo.drawn == b"/$ "
    shows(demo, ["/$"], (0, 3))


def test_typing(start):
    demo = start()
    for count, byte in enumerate(b"pwd x", 1):
        assert demo.press(bytes([byte])) == bytes([byte])
        shows(demo, ["/$ " + "pwd x"[:count].rstrip()], (0, 3 + count))
    assert demo.press(ENTER) == b"\r\n"
    shows(demo, ["/$ pwd x"], (1, 0))
    assert demo.line() == b"pwd x"
    assert demo.go_on() == b"/$ "
    shows(demo, ["/$ pwd x", "/$"], (1, 3))


def test_line_feed_ends_the_line_too(start):
    demo = start()
    demo.type(b"ls")
    assert demo.press(b"\n") == b"\r\n"
    assert demo.line() == b"ls"


def test_every_printable_byte_appears(start):
    demo = start(columns=132)
    text = bytes(range(32, 127))
    demo.type(text)
    shows(demo, ["/$ " + text.decode()], (0, 98))
    demo.press(ENTER)
    assert demo.line() == text


def test_every_control_byte_without_meaning_rings(start):
    demo = start()
    demo.type(b"ab")
    meaning = {1, 3, 4, 5, 8, 10, 11, 12, 13, 20, 21, 23, 24, 25, 27}
    bells = 0
    for byte in range(32):
        if byte not in meaning:
            assert demo.press(bytes([byte])) == b"\a"
            bells += 1
            assert demo.screen.bells == bells
            shows(demo, ["/$ ab"], (0, 5))


def test_ctrl_a_and_ctrl_e(start):
    demo = start()
    demo.type(b"abc")
    assert demo.press(CTRL["a"]) == b"\x1b[3D"
    shows(demo, ["/$ abc"], (0, 3))
    assert demo.press(CTRL["a"]) == b"\x1b[3C\x1b[3D"
    shows(demo, ["/$ abc"], (0, 3))
    assert demo.press(CTRL["e"]) == b"\x1b[3C"
    shows(demo, ["/$ abc"], (0, 6))
    assert demo.press(CTRL["e"]) == b""
    shows(demo, ["/$ abc"], (0, 6))


@pytest.mark.parametrize("sequence", [b"\x1b[H", b"\x1b[1~"])
def test_home(start, sequence):
    demo = start()
    demo.type(b"abc")
    assert demo.press(sequence) == b"\x1b[3D"
    shows(demo, ["/$ abc"], (0, 3))


@pytest.mark.parametrize("sequence", [b"\x1b[F", b"\x1b[4~"])
def test_end(start, sequence):
    demo = start()
    demo.type(b"abc")
    demo.press(HOME)
    assert demo.press(sequence) == b"\x1b[3C"
    shows(demo, ["/$ abc"], (0, 6))


def test_ctrl_c_gives_an_empty_line(start):
    demo = start()
    demo.type(b"half a li")
    assert demo.press(CTRL["c"]) == b"\r\n"
    shows(demo, ["/$ half a li"], (1, 0))
    assert demo.line() == b""
    demo.go_on()
    shows(demo, ["/$ half a li", "/$"], (1, 3))
    assert demo.press(UP) == b"\a"


@pytest.mark.parametrize("key", [CTRL["d"], DELETE])
def test_delete(start, key):
    demo = start()
    demo.type(b"abc")
    assert demo.press(key) == b"\a"
    shows(demo, ["/$ abc"], (0, 6))
    demo.press(LEFT, LEFT)
    assert demo.press(key) == b"c\x1b[J\x1b[1D"
    shows(demo, ["/$ ac"], (0, 4))
    assert demo.press(key) == b"\x1b[J"
    shows(demo, ["/$ a"], (0, 4))
    assert demo.press(key) == b"\a"
    assert demo.screen.bells == 2


@pytest.mark.parametrize("key", [BACKSPACE, RUBOUT])
def test_backspace(start, key):
    demo = start()
    demo.type(b"abc")
    assert demo.press(key) == b"\x1b[1D\x1b[J"
    shows(demo, ["/$ ab"], (0, 5))
    demo.press(LEFT)
    assert demo.press(key) == b"\x1b[1Db\x1b[J\x1b[1D"
    shows(demo, ["/$ b"], (0, 3))
    assert demo.press(key) == b"\a\x1b[1C\x1b[1D"
    shows(demo, ["/$ b"], (0, 3))
    assert demo.screen.bells == 1


def test_left_and_right(start):
    demo = start()
    demo.type(b"ab")
    assert demo.press(RIGHT) == b"\a"
    for column in (4, 3):
        demo.press(LEFT)
        shows(demo, ["/$ ab"], (0, column))
    assert demo.press(LEFT) == b"\a\x1b[2C\x1b[2D"
    shows(demo, ["/$ ab"], (0, 3))
    assert demo.press(RIGHT) == b"\x1b[2C\x1b[1D"
    shows(demo, ["/$ ab"], (0, 4))
    assert demo.press(RIGHT) == b"\x1b[1C"
    shows(demo, ["/$ ab"], (0, 5))
    assert demo.screen.bells == 2


def test_insert_in_the_middle(start):
    demo = start()
    demo.type(b"ad")
    demo.press(LEFT)
    assert demo.press(b"b") == b"bd\x1b[1D"
    shows(demo, ["/$ abd"], (0, 5))
    assert demo.press(b"c") == b"cd\x1b[1D"
    shows(demo, ["/$ abcd"], (0, 6))


def test_kill_and_yank(start):
    demo = start()
    demo.type(b"set mtu")
    demo.press(LEFT, LEFT, LEFT)
    assert demo.press(CTRL["k"]) == b"\x1b[J"
    shows(demo, ["/$ set"], (0, 7))
    assert demo.press(CTRL["y"]) == b"mtu"
    assert demo.press(CTRL["y"]) == b"mtu"
    shows(demo, ["/$ set mtumtu"], (0, 13))
    demo.press(LEFT, LEFT, LEFT)
    assert demo.press(CTRL["u"]) == b"\x1b[7Dmtu\x1b[J\x1b[3D"
    shows(demo, ["/$ mtu"], (0, 3))
    assert demo.press(CTRL["y"]) == b"set mtumtu\x1b[3D"
    shows(demo, ["/$ set mtumtu"], (0, 10))
    assert demo.screen.bells == 0


def test_kill_with_nothing_to_kill(start):
    demo = start()
    demo.type(b"ab")
    assert demo.press(CTRL["k"]) == b""
    assert demo.press(CTRL["y"]) == b""
    shows(demo, ["/$ ab"], (0, 5))
    demo.press(CTRL["a"])
    assert demo.press(CTRL["u"]) == b"\x1b[2C\x1b[2D"
    assert demo.press(CTRL["y"]) == b"\a\x1b[2C\x1b[2D"
    shows(demo, ["/$ ab"], (0, 3))


def test_yank_without_kill_rings(start):
    demo = start()
    assert demo.press(CTRL["y"]) == b"\a"
    shows(demo, ["/$"], (0, 3))


def test_ctrl_w(start):
    demo = start()
    demo.type(b"set a/b  c d ")
    for row, column in (("/$ set a/b  c", 14), ("/$ set a/b", 12), ("/$ set", 7), ("/$", 3)):
        demo.press(CTRL["w"])
        shows(demo, [row], (0, column))
    assert demo.press(CTRL["w"]) == b""
    assert demo.screen.bells == 0


def test_ctrl_l(start):
    demo = start()
    demo.enter(b"ls")
    demo.type(b"abc")
    demo.press(LEFT)
    shows(demo, ["/$ ls", "/$ abc"], (1, 5))
    assert demo.press(CTRL["l"]) == b"\x1b[2J\x1b[H/$ abc\x1b[1D\x1b[1C\x1b[1D"
    shows(demo, ["/$ abc"], (0, 5))


@pytest.mark.parametrize(
    "sequence",
    [
        b"\x1b[2~",
        b"\x1b[5~",
        b"\x1b[6~",
        b"\x1b[Z",
        b"\x1b[15~",
        b"\x1b[1;5D",
        b"\x1bO",
        b"\x1b\x1b@",
        b"\x1b[12345678",
        b"\x1b\x03\x0d\x7f",
    ],
)
def test_sequences_without_meaning(start, sequence):
    demo = start()
    demo.type(b"ab")
    assert demo.press(sequence) == b""
    shows(demo, ["/$ ab"], (0, 5))
    demo.type(b"c")
    shows(demo, ["/$ abc"], (0, 6))


def test_nothing_is_written_within_a_sequence(start):
    demo = start()
    demo.type(b"abc")
    demo.press(LEFT)
    for byte in b"\x1b[3":
        assert demo.press(bytes([byte])) == b""
    assert demo.press(b"~") == b"\x1b[J"


def test_tab_lists_below_the_line(start):
    demo = start("--words", "get get-config set", columns=30)
    demo.type(b"g")
    assert demo.press(b"\t") == b"et"
    assert demo.press(b"\t") == b"\r\nget        get-config\r\n/$ get"
    shows(demo, ["/$ get", "get        get-config", "/$ get"], (2, 6))
    demo.type(b"-")
    assert demo.press(b"\t") == b"config"
    assert demo.press(b" ", b"x", b"\t") == b"\a"
    shows(demo, ["/$ get", "get        get-config", "/$ get-config x"], (2, 15))


def test_one_trailing_blank_is_not_returned(start):
    demo = start()
    assert demo.enter(b"ls ") == b"ls"
    assert demo.enter(b"ls  ") == b"ls "
    shows(demo, ["/$ ls", "/$ ls", "/$"], (2, 3))


# History


def test_history_of_ten(start):
    demo = start()
    for number in range(11):
        demo.enter(b"line %d" % number)
    demo.press(CTRL["l"])
    demo.type(b"draft")
    for number in range(10, 0, -1):
        demo.press(UP)
        shows(demo, [f"/$ line {number}"], (0, 8 + len(str(number))))
    assert demo.press(UP) == b"\a"
    shows(demo, ["/$ line 1"], (0, 9))
    for number in range(2, 11):
        demo.press(DOWN)
        shows(demo, [f"/$ line {number}"], (0, 8 + len(str(number))))
    assert demo.press(DOWN) == b"\x1b[7Ddraft\x1b[J"
    shows(demo, ["/$ draft"], (0, 8))
    assert demo.press(DOWN) == b"\a"
    assert demo.screen.bells == 2


def test_a_repeated_line_is_recalled_once(start):
    demo = start()
    for text in (b"a", b"b", b"a", b"a"):
        demo.enter(text)
    demo.press(CTRL["l"])
    for row in ("/$ a", "/$ b"):
        demo.press(UP)
        shows(demo, [row], (0, 4))
    assert demo.press(UP) == b"\a"


def test_editing_a_recalled_line(start):
    demo = start()
    demo.enter(b"first")
    demo.enter(b"second")
    demo.press(CTRL["l"])
    demo.press(UP, UP)
    assert demo.press(LEFT, RUBOUT) == b"\x1b[1Dt\x1b[J\x1b[1D"
    shows(demo, ["/$ firt"], (0, 6))
    assert demo.press(DOWN) == b"\a\x1b[1C\x1b[1D"
    shows(demo, ["/$ firt"], (0, 6))
    demo.press(UP)
    shows(demo, ["/$ second"], (0, 9))
    demo.press(UP)
    shows(demo, ["/$ first"], (0, 8))
    demo.press(DOWN, DOWN)
    shows(demo, ["/$ firt"], (0, 7))
    demo.press(ENTER)
    assert demo.line() == b"firt"


def test_up_and_down_between_lines_of_different_height(start):
    demo = start("--prompt", "", columns=20)
    demo.enter(b"short")
    demo.enter(b"x" * 45)
    demo.press(CTRL["l"])
    demo.press(UP)
    shows(demo, ["x" * 20, "x" * 20, "xxxxx"], (2, 5))
    demo.press(UP)
    shows(demo, ["short"], (0, 5))
    demo.press(DOWN)
    shows(demo, ["x" * 20, "x" * 20, "xxxxx"], (2, 5))
    demo.press(DOWN)
    shows(demo, [], (0, 0))


# Lines longer than the screen


@pytest.mark.parametrize("columns", [20, 40, 80, 132])
def test_a_long_line_wraps(start, columns):
    demo = start("--prompt", "", columns=columns)
    text = "".join(chr(33 + i % 90) for i in range(2 * columns + 3))
    for count in range(1, len(text) + 1):
        demo.press(text[count - 1].encode())
        shows(demo, wrapped(text[:count], columns), (count // columns, count % columns))
    for point in range(len(text) - 1, -1, -1):
        demo.press(LEFT)
        shows(demo, wrapped(text, columns), (point // columns, point % columns))
    for point in range(1, len(text) + 1):
        demo.press(RIGHT)
        shows(demo, wrapped(text, columns), (point // columns, point % columns))
    for count in range(len(text) - 1, -1, -1):
        demo.press(RUBOUT)
        shows(demo, wrapped(text[:count], columns), (count // columns, count % columns))
    assert demo.screen.bells == 0


@pytest.mark.parametrize("columns", [20, 40, 80, 132])
def test_inserting_and_deleting_across_the_margin(start, columns):
    demo = start("--prompt", "", columns=columns)
    text = "".join(chr(97 + i % 26) for i in range(columns - 1))
    demo.type(text.encode())
    demo.press(HOME)
    for byte in "XYZ":
        demo.press(byte.encode())
    shows(demo, wrapped("XYZ" + text, columns), (0, 3))
    demo.press(DELETE)
    shows(demo, wrapped("XYZ" + text[1:], columns), (0, 3))
    demo.press(DELETE)
    shows(demo, wrapped("XYZ" + text[2:], columns), (0, 3))
    demo.press(DELETE)
    shows(demo, wrapped("XYZ" + text[3:], columns), (0, 3))
    demo.press(END)
    shows(demo, wrapped("XYZ" + text[3:], columns), (0, columns - 1))


@pytest.mark.parametrize("columns", [20, 40, 80, 132])
def test_exactly_at_the_margin(start, columns):
    demo = start("--prompt", "", columns=columns)
    text = "m" * columns
    demo.type(text[:-1].encode())
    assert demo.press(b"m") == b"m" + NEXT_LINE
    shows(demo, [text], (1, 0))
    assert demo.press(HOME) == b"\x1b[1A"
    shows(demo, [text], (0, 0))
    assert demo.press(END) == b"\x1b[1B"
    shows(demo, [text], (1, 0))
    demo.press(ENTER)
    shows(demo, [text], (2, 0))
    assert demo.line() == text.encode()


def test_the_last_row_of_the_screen_scrolls(start):
    demo = start("--prompt", "", columns=20, lines=4)
    for text in (b"a", b"b", b"c"):
        demo.enter(text)
    shows(demo, ["a", "b", "c"], (3, 0))
    demo.type(b"d" * 19)
    shows(demo, ["a", "b", "c", "d" * 19], (3, 19))
    demo.type(b"d")
    shows(demo, ["b", "c", "d" * 20], (3, 0))
    demo.type(b"e")
    shows(demo, ["b", "c", "d" * 20, "e"], (3, 1))
    demo.press(HOME)
    shows(demo, ["b", "c", "d" * 20, "e"], (2, 0))


def test_a_prompt_before_a_line_that_wraps_takes_no_part(start):
    # Positions count from the start of the line, so the line's 20th byte, which
    # stands in the fourth column of the second row, is followed by a next-line.
    demo = start("--prompt", "/$ ", columns=20)
    demo.type(b"abcdefghijklmnopqrs")
    shows(demo, ["/$ abcdefghijklmnopq", "rs"], (1, 2))
    assert demo.press(b"t") == b"t" + NEXT_LINE
    shows(demo, ["/$ abcdefghijklmnopq", "rst"], (2, 0))
    assert demo.press(b"u") == b"u"
    shows(demo, ["/$ abcdefghijklmnopq", "rst", "u"], (2, 1))
    assert demo.press(HOME) == b"\x1b[1D\x1b[1A"
    assert demo.press(ENTER) == b"\r\n"
    assert demo.line() == b"abcdefghijklmnopqrstu"


def test_enter_in_an_upper_row_goes_on_right_below_it(start):
    # The new line is written where the cursor stands; what the line had further
    # down stays until something is written over it.
    demo = start("--prompt", "", columns=20)
    demo.type(b"a" * 20 + b"b" * 20 + b"c" * 5)
    demo.press(HOME)
    assert demo.press(ENTER) == b"\r\n"
    shows(demo, ["a" * 20, "b" * 20, "c" * 5], (1, 0))
    demo.line()
    demo.go_on()
    demo.type(b"new")
    shows(demo, ["a" * 20, "new" + "b" * 17, "c" * 5], (1, 3))


def test_a_new_width_starts_on_a_new_row(start):
    demo = start(columns=40)
    demo.type(b"x" * 30)
    shows(demo, ["/$ " + "x" * 30], (0, 33))
    demo.resize(80)
    assert demo.press(b"y") == NEXT_LINE + b"\x1b[J/$ " + b"x" * 30 + b"y"
    shows(demo, ["/$ " + "x" * 30, "/$ " + "x" * 30 + "y"], (1, 34))
    assert demo.press(LEFT) == b"\x1b[1D"
    demo.resize(132)
    assert demo.press(LEFT) == NEXT_LINE + b"\x1b[J/$ " + b"x" * 30 + b"y\x1b[2D"
    shows(demo, ["/$ " + "x" * 30, "/$ " + "x" * 30 + "y", "/$ " + "x" * 30 + "y"], (2, 32))
    demo.press(ENTER)
    demo.line()
    demo.resize(60)
    assert demo.go_on() == NEXT_LINE + b"\x1b[J/$ "


def test_a_narrower_window_wraps_the_line_anew(start):
    demo = start("--prompt", "", columns=40)
    text = "abcdefghijklmnopqrstuvwxyz0123"
    demo.type(text.encode())
    demo.press(LEFT)
    demo.resize(20)
    demo.press(LEFT)
    shows(demo, [text[:20], text[:20], text[20:]], (2, 8))
    for point in range(27, -1, -1):
        demo.press(LEFT)
        shows(demo, [text[:20], text[:20], text[20:]], (1 + point // 20, point % 20))


# UTF-8


def test_utf8_characters(start):
    demo = start("--utf8", columns=20)
    demo.type("é日x".encode())
    shows(demo, ["/$ é日x"], (0, 7))
    demo.press(LEFT, LEFT)
    shows(demo, ["/$ é日x"], (0, 4))
    demo.press(DELETE)
    shows(demo, ["/$ éx"], (0, 4))
    demo.press(RUBOUT)
    shows(demo, ["/$ x"], (0, 3))
    demo.press(ENTER)
    assert demo.line() == b"x"
