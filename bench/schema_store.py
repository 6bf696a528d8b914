#!/usr/bin/python3
"""What replacing a large schema takes of redis and of schemac.

    bench/schema_store.py

Stores 1,226 modules with 700,000 nodes, the same again, with another description in
13 places, and then others in place of all. Shows for each how long it takes; what
redis holds before, at most meanwhile and after, and how often the larger of the first
and the last goes into the most; and the longest transaction by redis's own clock, for
which other clients wait. Then, where perf is installed, what takes schemac's time.
"""

import os
import re
import subprocess
import sys
import tempfile
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(ROOT, "tests"))

# pylint: disable=wrong-import-position
import yang_modules  # noqa: E402
from support.schemac import SCHEMAC, Server  # noqa: E402

MEGABYTE = 1000000
PARTS = ("try_modules", "serve_source", "write_schema", "publish_content", "make_requests")


class Watch:
    """The most memory that redis holds meanwhile."""

    def __init__(self, server):
        self.client = server.database()
        self.is_over = threading.Event()
        self.before = self.most = self.used()
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def used(self):
        return self.client.info("memory")["used_memory"] / MEGABYTE

    def run(self):
        while not self.is_over.wait(0.002):
            self.most = max(self.most, self.used())

    def end(self):
        self.is_over.set()
        self.thread.join()
        return self.before, self.most, self.used()


def schemac(server, directory, *before):
    words = [*before, SCHEMAC, "--force", "--redis", server.socket, "--feature", "*:*", directory]
    subprocess.run(words, check=True, capture_output=True)


def replace(name, server, directory):
    client = server.database()
    client.config_resetstat()
    watch = Watch(server)
    start = time.perf_counter()
    schemac(server, directory)
    elapsed = time.perf_counter() - start
    before, most, after = watch.end()
    longest = client.info("latencystats")["latency_percentiles_usec_exec"]  # "p100=..."
    memory = f"{before:6.1f} MB, at most {most:6.1f}, then {after:6.1f}"
    ratio = most / max(before, after)
    print(
        f"{name:24}{elapsed:6.1f} s  {memory}: {ratio:4.2f} {float(longest[5:]) / 1000:7.1f} ms",
        flush=True,
    )


def show_parts(server, directory, scratch):
    """Each part with all that it calls: libyang's is the first without the second."""
    samples = os.path.join(scratch, "samples")
    graph = ["--call-graph", "dwarf,16384"]
    schemac(server, directory, "perf", "record", "-F", "500", *graph, "-o", samples)
    words = ["perf", "report", "-i", samples, "--children", "--sort", "sym", "-g", "none"]
    report = subprocess.run(words, check=True, capture_output=True, text=True).stdout
    for part in PARTS:
        share = re.search(rf"(?m)^ *([\d.]+%).*[\]:] ?{part}\b", report)
        print(f"{part:24}{share[1] if share else 'none':>7}")


def main():
    server = Server("--latency-tracking-info-percentiles", "100")
    try:
        with tempfile.TemporaryDirectory() as scratch:
            one, two, three = (os.path.join(scratch, name) for name in ("one", "two", "three"))
            yang_modules.write(one)
            yang_modules.write(two, edition="Changed.")
            yang_modules.write(three, prefix="other")
            replace("into an empty database", server, one)
            replace("the same", server, one)
            replace("a few other texts", server, two)
            replace("all others", server, three)
            if subprocess.run(["which", "perf"], capture_output=True, check=False).returncode == 0:
                server.database().flushdb()
                show_parts(server, one, scratch)
    finally:
        server.stop()


if __name__ == "__main__":
    main()
