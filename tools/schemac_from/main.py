"""The schema of a server: asks for its modules, and has schemac compile them."""

import functools
import getopt
import os
import resource
import signal
import sys
import time
from typing import NamedTuple

from schemac_from import cache, library
from schemac_from.fetch import Fetch, Search
from schemac_from.session import Failed, Session

MEMORY = 2 << 30  # bytes; what a server sends is not to take all there is
SILENCE, INTERVAL = 1.0, 0.2  # seconds before something is shown, and between two times


class UsageError(Exception):
    """The command line makes no sense."""


class Options(NamedTuple):
    cache: str  # None: the command's own
    search: list
    timeout: float
    is_forced: bool
    handed_on: list  # to schemac
    command: list


def complain(text):
    print("schemac:", "".join(c if c.isprintable() else "?" for c in text)[:1000], file=sys.stderr)


def seconds(text):
    try:
        value = float(text)
    except ValueError:
        value = 0
    if not 0 < value <= 86400:
        raise UsageError(f"--timeout needs a number of seconds, not {text}")
    return value


def parse(arguments):
    names = "cache= search= redis= timeout= force keep-going".split()
    try:
        given, command = getopt.getopt(arguments, "", names)
    except getopt.GetoptError as error:
        raise UsageError(str(error)) from None
    if not command:
        raise UsageError("--from needs a command that leads to a server")
    last = dict(given)
    handed_on = []
    for name, value in given:
        if name in ("--redis", "--force", "--keep-going"):
            handed_on += [name, value] if value else [name]
    return Options(
        cache=last.get("--cache"),
        search=[value for name, value in given if name == "--search"],
        timeout=seconds(last.get("--timeout", "60")),
        is_forced="--force" in last,
        handed_on=handed_on,
        command=command,
    )


class Progress:
    """What is going on, for an operator who waits at a terminal."""

    def __init__(self):
        self.next = time.monotonic() + SILENCE
        self.is_shown = False

    def show(self, done, left):
        if time.monotonic() >= self.next and sys.stderr.isatty():
            print(f"\r\033[Kschemac: {done} texts fetched, {left} to go", end="", file=sys.stderr)
            sys.stderr.flush()
            self.next = time.monotonic() + INTERVAL
            self.is_shown = True

    def clear(self):
        if self.is_shown:
            print("\r\033[K", end="", file=sys.stderr, flush=True)


def fetch_set(session, kept, options):
    """Fetches what the server of a session has; the set's directory, and what is missing."""
    announced = library.read(session, complain)
    for name in announced.odd:
        complain(f"the server announces what is no name: {name}")
    if not any(announced.texts.values()):
        raise Failed("the server announces no modules")
    progress = Progress()
    fetch = Fetch(session, kept, Search(options.search), options.is_forced, progress.show)
    try:
        fetch.all(
            announced, library.has(session.capabilities, announced, "ietf-netconf-monitoring")
        )
    finally:
        progress.clear()
    print(f"schemac: {fetch.fetched} of {len(fetch.wanted)} texts fetched", flush=True)
    for key, why in fetch.missing.items():
        name = cache.file_name(*key).removesuffix(".yang")
        complain(f"{name}: the server does not hand it out: {why}")
    # With an "@" each is a module, also where a file or a directory has its name.
    missing = ["@".join(key) for key in fetch.missing]
    return kept.add_set(session.capabilities, fetch, announced.features), missing


def carry_out(options):
    """The arguments with which schemac compiles what the server has."""
    kept = cache.Cache(options.cache or cache.default_directory(options.command))
    limits = resource.getrlimit(resource.RLIMIT_AS)
    if limits[0] == resource.RLIM_INFINITY or limits[0] > MEMORY:
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY, limits[1]))
    # The command is free of this.
    free = functools.partial(resource.setrlimit, resource.RLIMIT_AS, limits)
    session = Session(options.command, options.timeout, free)
    try:
        found = None if options.is_forced else kept.find_set(session.capabilities)
        found, missing = (found, []) if found else fetch_set(session, kept, options)
    except BaseException:
        session.end()
        raise
    session.close()
    free()
    features = ["--feature-file", os.path.join(found, "features")]
    search = ["--search", os.path.join(found, cache.IMPORTED)]
    modules = [os.path.join(found, cache.IMPLEMENTED), *missing]
    return [*options.handed_on, *features, *search, *modules]


def main(schemac, arguments):
    """Becomes schemac; the exit status where there is nothing to compile."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    try:
        os.execv(schemac, ["schemac", *carry_out(parse(arguments))])
    except UsageError as error:
        complain(str(error))
        print("Try 'schemac --help'.", file=sys.stderr)
        return 1
    except Failed as error:
        complain(str(error))
        return 1
    except OSError as error:
        complain(f"{error.filename}: {error.strerror}" if error.filename else str(error))
        return 1
    except MemoryError:
        pass  # what was read goes with the exception; then there is memory to say so
    complain("what the server sends takes too much memory")
    return 1
