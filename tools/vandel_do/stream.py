"""Takes echo, markers and prompts out of what the shell prints for one command.

What the command itself has printed is handed on as it comes: a short reply may be laid
out as hundreds of megabytes.
"""

REFUSAL = b"error command, please use:pwd (no param)\r\n"


class Stream:
    def __init__(self, echo, markers, longest_prompt, take):
        """take(piece) gets the output; echo is the prompt before the echo, None without one."""
        self.echo = echo
        self.first = markers[0] + b"\n" + REFUSAL
        self.second = markers[1]
        self.end = self.second + b"\n" + REFUSAL
        self.longest = longest_prompt + len(self.first)
        self.take = take
        self.kept = bytearray()  # it may turn out to be the prompt or a part of a marker
        self.at = -1  # where the first marker stands in it
        self.prompt = None  # known when all has come

    def add(self, piece):
        """Takes what has come."""
        self.kept += piece
        if self.echo is not None and not self._skip_echo():
            return
        if self.at < 0:
            self.at = self.kept.find(self.first)
        if self.at < 0:
            self._hand_on(len(self.kept) - self.longest)
        elif self.kept.endswith(self.end):
            rest = self.kept[self.at + len(self.first) :]
            self.prompt = bytes(rest.partition(self.second)[0])
            self._hand_on(len(self.kept[: self.at].removesuffix(self.prompt)))

    def give_up(self):
        """Hands on what is left, as there will be no end."""
        if self.echo is None:
            self._hand_on(len(self.kept))

    def _skip_echo(self):
        """Drops the prompt and the line, which is shown as if it had been typed."""
        if len(self.kept) < len(self.echo) and self.echo.startswith(self.kept):
            return False
        self.kept = self.kept.removeprefix(self.echo)
        self.echo = b""
        _, line_end, self.kept = self.kept.partition(b"\n")
        if not line_end:
            return False
        self.echo = None
        return True

    def _hand_on(self, size):
        if size > 0:
            self.take(bytes(self.kept[:size]))
            del self.kept[:size]
