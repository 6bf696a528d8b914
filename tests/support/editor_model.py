"""What the line editor writes for each key, worked out once more from scratch.

Text and positions are bytes. `press` returns what a key writes to a terminal that
turns a line feed into a carriage return and a line feed.
"""

from .editor_terminal import (
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
)

BELL = b"\a"
ERASE_DOWN = b"\x1b[J"


class EditorModel:
    def __init__(self, prompt, columns, history_limit=10):
        self.prompt = prompt
        self.columns = self.drawn_columns = columns
        self.history_limit = history_limit
        self.history = []
        self.killed = None
        self.candidates = None  # of Tab: called with the line and the cursor

    # A read

    def begin(self, prompt=None):
        """Starts a read; returns what it draws."""
        self.prompt = self.prompt if prompt is None else prompt
        self.draft = self.text = b""
        self.point = 0
        self.place = None  # in the history; None: the line is the one being typed
        self.result = None
        return self.on_terminal(self.reset())

    def press(self, key):
        action = self.actions().get(key)
        if action is None:
            action = self.refuse if key < b" " else lambda: self.insert(key)
        written = action()
        if self.result is None and not isinstance(written, bytes):
            written = (b"" if written else BELL) + self.redraw()
        return self.on_terminal(written)

    def actions(self):
        """Bytes are all that a key writes; a truth value is followed by a redraw."""
        return {
            CTRL["a"]: lambda: self.move(0), HOME: lambda: self.move(0),
            CTRL["e"]: lambda: self.move(len(self.text)),
            END: lambda: self.move(len(self.text)),
            LEFT: lambda: self.move(self.point - 1), RIGHT: lambda: self.move(self.point + 1),
            RUBOUT: lambda: self.erase(self.point - 1, self.point),
            BACKSPACE: lambda: self.erase(self.point - 1, self.point),
            CTRL["d"]: lambda: self.erase(self.point, self.point + 1),
            DELETE: lambda: self.erase(self.point, self.point + 1),
            CTRL["k"]: self.kill_to_end, CTRL["u"]: self.kill_to_start,
            CTRL["w"]: self.erase_word, CTRL["y"]: self.yank, CTRL["l"]: self.clear_screen,
            CTRL["i"]: self.complete, UP: self.older, DOWN: self.newer,
            ENTER: lambda: self.finish(self.text), CTRL["c"]: lambda: self.finish(b""),
        }  # fmt: skip

    @staticmethod
    def on_terminal(written):
        return written.replace(b"\n", b"\r\n")

    # Input that is not a terminal

    def read_piped(self, rest):
        """Reads a line from the front of rest; returns the line (None for none), what
        that writes, and what is left."""
        self.drawn = None
        self.text, self.point = b"", 0
        written = b""
        piece = b"-" * 79
        while len(piece) == 79:
            piece = rest[:79].partition(b"\n")
            piece = piece[0] + piece[1]
            rest = rest[len(piece) :]
            at_end = not rest and not piece.endswith(b"\n") or not piece
            more = piece.replace(b"\0", b"").partition(b"\n")[0].partition(b"\r")[0]
            self.insert(more if self.point else more.lstrip(b" \t"))
            written += self.redraw() if piece else b""
        if at_end and not self.text:
            return None, written, rest
        return self.text, written + b"\n", rest

    # Keys

    @staticmethod
    def refuse():
        return False

    def change(self, text, point):
        self.text, self.point, self.place = text, point, None
        self.draft = text
        return True

    def insert(self, more):
        return self.change(
            self.text[: self.point] + more + self.text[self.point :], self.point + len(more)
        )

    def erase(self, first, last):
        if not 0 <= first < last <= len(self.text):
            return False
        return self.change(self.text[:first] + self.text[last:], first)

    def move(self, point):
        if not 0 <= point <= len(self.text):
            return False
        self.point = point
        return True

    def kill_to_end(self):
        self.killed = self.text[self.point :]
        self.erase(self.point, len(self.text))
        return True

    def kill_to_start(self):
        self.killed = self.text[: self.point] or None
        self.erase(0, self.point)
        return True

    def erase_word(self):
        before = self.text[: self.point].rstrip()
        words = before.split()
        first = len(before) - len(words[-1]) if words else 0
        self.erase(first, self.point)
        return True

    def yank(self):
        return self.killed is not None and self.insert(self.killed)

    def clear_screen(self):
        drawn = b"\x1b[2J\x1b[H" + self.reset()
        return drawn + self.redraw()

    def show(self, place):
        if self.place is None:
            self.draft = self.text
        self.place = place
        self.text = self.draft if place is None else self.history[place]
        self.point = len(self.text)
        return True

    def older(self):
        place = (len(self.history) if self.place is None else self.place) - 1
        return place >= 0 and self.show(place)

    def newer(self):
        if self.place is None:
            return False
        return self.show(self.place + 1 if self.place + 1 < len(self.history) else None)

    def finish(self, text):
        self.result = text[:-1] if text.endswith(b" ") else text
        return b"\n"

    def remember(self, line):
        if line in self.history:
            self.history.remove(line)
        self.history = (self.history + [line])[-self.history_limit :]

    # Completion

    def complete(self):
        start, words = self.candidates(self.text, self.point) if self.candidates else (0, [])
        if not words:
            return False
        return self.offer(start, words) + self.redraw()

    def offer(self, start, words):
        """Inserts what the words share, or lists them; returns what that writes."""
        if self.insert_shared(start, words):
            return self.redraw()
        if len(words) == 1:
            return b""
        return b"\n" + self.in_columns(words) + self.reset()

    def insert_shared(self, start, words):
        """Puts what all words begin with in place of what is typed; whether that changes it."""
        shared = words[0]
        while not all(word.startswith(shared) for word in words):
            shared = shared[:-1]
        is_there = self.text[start : self.point].startswith(shared)
        return not is_there and self.replace(start, shared)

    def replace(self, start, text):
        """Puts text where the bytes from start up to and with the cursor's are."""
        behind = self.text[self.point + 1 :]
        return self.change(self.text[:start] + text + behind, start + len(text))

    def in_columns(self, words):
        longest = max(map(len, words))
        columns = (self.columns + 1) // (longest + 1) if longest < self.columns else 1
        written = b""
        for number, word in enumerate(words):
            is_last = number % columns == columns - 1
            written += word if is_last else word.ljust(longest) + b" "
            if is_last or number == len(words) - 1:
                written += b"\n"
        return written

    # Drawing

    def reset(self):
        self.drawn = None
        return self.redraw()

    def redraw(self):
        columns, text = self.columns, self.text
        written = b""
        first = 0
        is_new_width = columns != self.drawn_columns
        if self.drawn is None or is_new_width:
            written += (NEXT_LINE + ERASE_DOWN if is_new_width else b"") + self.prompt
        else:
            drawn, drawn_point = self.drawn
            while text[first : first + 1] == drawn[first : first + 1] != b"":
                first += 1
            written += self.back(first, drawn_point - first)
        written += text[first:]
        if text[first:] and len(text) % columns == 0:
            written += NEXT_LINE
        if self.drawn is not None and len(self.drawn[0]) > len(text):
            written += ERASE_DOWN
        if self.point < len(text):
            written += self.back(self.point, len(text) - self.point)
        self.drawn = text, self.point
        self.drawn_columns = columns
        return written

    def back(self, position, count):
        """To a position from the one that is count columns after it."""
        rows = (position + count) // self.columns - position // self.columns
        columns = (position + count) % self.columns - position % self.columns
        written = b""
        if columns:
            written += b"\x1b[%d%s" % (abs(columns), b"D" if columns > 0 else b"C")
        if rows:
            written += b"\x1b[%d%s" % (abs(rows), b"A" if rows > 0 else b"B")
        return written
