"""The texts of what a server announces: from the cache, the server, or directories."""

import os
from collections import deque

from schemac_from.cache import IMPLEMENTED, IMPORTED, file_name
from schemac_from.library import DATE, MONITORING, NAME
from schemac_from.library import MOST as ANNOUNCED
from schemac_from.session import Failed, error_of
from schemac_from.yang_text import read_head

AT_A_TIME = 8  # requests under way
MOST = 512 << 20  # bytes of all texts, as schemac reads them


def open_at_once(path, flags):
    """Not waiting for somebody who writes to a FIFO."""
    return os.open(path, flags | os.O_NONBLOCK)


def read_file(path):
    with open(path, encoding="utf-8", errors="replace", opener=open_at_once) as file:
        return file.read()


class Search:
    """The files of directories, and of those below them, by the names of modules."""

    def __init__(self, directories):
        self.paths = {}
        folders = list(directories)
        for folder in folders:  # which grows by those that are found in it
            for entry in os.scandir(folder):
                path = os.path.abspath(entry.path)
                if entry.is_dir(follow_symlinks=False):
                    folders.append(path)
                # A pipe that calls itself a module must not keep us waiting.
                elif path.endswith(".yang") and os.path.isfile(path):
                    module = entry.name.removesuffix(".yang").partition("@")[0]
                    self.paths.setdefault(module, []).append(path)

    def find(self, name, revision):
        """The path of a text of this revision, or the newest if it is empty; or None."""
        heads = [(read_head(read_file(path)), path) for path in self.paths.get(name, ())]
        fitting = [
            (head.revision, path)
            for head, path in heads
            if head.name == name and revision in ("", head.revision)
        ]
        return max(fitting)[1] if fitting else None


class Fetch:
    """found: {(place, file name): path}; missing: {(name, revision): why} of what is to be
    compiled; fetched: how many texts the server has handed out."""

    def __init__(self, session, cache, search, is_anew, show):
        self.session = session
        self.cache = cache
        self.search = search
        self.is_anew = is_anew  # nothing is taken from the cache
        self.show = show  # is told how far it is
        self.wanted = {}  # {(name, revision): whether it is implemented}
        self.names = set()  # of those
        self.waiting = deque()
        self.asked = {}  # {number of the request: (name, revision)}
        self.found = {}
        self.missing = {}
        self.fetched = 0
        self.size = 0

    def all(self, announced, can_ask):
        """Fetches what is announced, and what that needs."""
        for (name, revision), is_implemented in announced.texts.items():
            self._want(name, revision, is_implemented)
        while self.waiting or self.asked:
            while self.waiting and len(self.asked) < AT_A_TIME:
                self._begin(*self.waiting.popleft(), can_ask)
            if self.asked:
                self._take_answer()
            self.show(self.fetched, len(self.waiting) + len(self.asked))

    def _want(self, name, revision, is_implemented):
        self.wanted[name, revision] = is_implemented
        self.names.add(name)
        if len(self.wanted) > 2 * ANNOUNCED:
            raise Failed(f"its modules need more than {2 * ANNOUNCED} texts")
        self.waiting.append((name, revision))

    def _begin(self, name, revision, can_ask):
        path = None if self.is_anew else self.cache.text(name, revision)
        if path is not None:
            self._take(name, revision, path, read_head(read_file(path)))
        elif can_ask:
            version = f"<version>{revision}</version>" if revision else ""
            body = f"<identifier>{name}</identifier>{version}"
            number = self.session.ask(f'<get-schema xmlns="{MONITORING}">{body}</get-schema>')
            self.asked[number] = name, revision
        else:
            self._look_elsewhere(name, revision, "it has no get-schema")

    def _take_answer(self):
        number, reply = self.session.answer()
        if number not in self.asked:
            raise Failed("the server answers what it was not asked")
        name, revision = self.asked.pop(number)
        answer = reply.find(f"{{{MONITORING}}}data")
        text = "".join(answer.itertext()) if answer is not None else ""
        head = read_head(text)
        if answer is None:
            self._look_elsewhere(name, revision, error_of(reply) or "it answers without a text")
        elif head.name != name or not DATE.fullmatch(head.revision):
            self._look_elsewhere(name, revision, "what it sends is another text")
        else:
            data = text.encode()
            self.fetched += 1
            self.size += len(data)
            if self.size > MOST:
                raise Failed(f"the server sends more than {MOST >> 20} MiB of texts")
            # By what the text says of itself: others have it from here, too.
            self._take(name, revision, self.cache.add_text(name, head.revision, data), head)

    def _look_elsewhere(self, name, revision, why):
        path = self.search.find(name, revision)
        if path is not None:
            self._take(name, revision, path, read_head(read_file(path)))
        elif self.wanted[name, revision]:
            self.missing[name, revision] = why

    def _take(self, name, revision, path, head):
        is_implemented = self.wanted[name, revision]
        place = IMPLEMENTED if is_implemented else IMPORTED
        self.found[place, file_name(name, revision)] = path
        # A hello names no submodules, and nothing that is only imported.
        for needed, date, is_include in head.needs:
            if NAME.fullmatch(needed) and DATE.fullmatch(date) and not self._knows(needed, date):
                self._want(needed, date, is_include and is_implemented)

    def _knows(self, name, revision):
        return (name, revision) in self.wanted if revision else name in self.names
